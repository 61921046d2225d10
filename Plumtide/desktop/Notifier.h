#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>

#include <optional>

/// Puts a desktop notification in front of the user when a line needs attention, through org.freedesktop.Notifications
/// on the session bus.
/// Thread: main thread. Nothing is shown before the event loop runs.
/// Errors: none reach the caller. Without a bus or a service, notifications are dropped.
class Notifier final : public QObject
{
    Q_OBJECT

public:
    Notifier(); ///< Needs a QCoreApplication.

    /// Whether notifications can be used at all: there is a session bus. Decided at creation, once.
    [[nodiscard]] bool available() const { return m_available; }

    /// Returns at once and never fails. It replaces an earlier notification with the same `id` that is still
    /// on show; without a body it takes that one back. All three are plain text.
    void notify(const QString &title, const QString &body, const QString &id);

    /// Takes back what is on show, for the end of the program. Does not wait for the service.
    void takeAllBack();

Q_SIGNALS:
    /// The user has clicked the one of this `id`. `token` lets a window take the focus; empty where the service gives
    /// none.
    void activated(const QString &id, const QByteArray &token);
    void sessionRequested(const QString &id); ///< The user wants to go to the session that the notification is about.

private Q_SLOTS:
    void reportAction(uint number, const QString &action);
    void keepToken(uint number, const QString &token);
    void forgetClosed(uint number, uint reason);

private:
    struct Notification
    {
        QString title, body;
    };
    struct Shown
    {
        uint number = 0;                  // the service's, 0 when there is none to replace
        bool isOnItsWay = false;          // a call is unanswered
        std::optional<Notification> next; // waits for that answer; of several the newest
    };

    template <typename Answered>
    void call(const QString &method, const QVariantList &arguments, Answered answered);
    void send(const QString &id);
    // Signals go to everybody, so most numbers are other programs'.
    [[nodiscard]] QHash<QString, Shown>::const_iterator find(uint number) const;

    QDBusConnection m_bus;
    const bool m_available;
    QHash<QString, Shown> m_shown;
    QByteArray m_token;
};
