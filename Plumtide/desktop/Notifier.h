#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>

#include <optional>

/// Shows desktop notifications through org.freedesktop.Notifications on the session bus. Nothing is shown before
/// the event loop runs. Without a bus or a service, notifications are dropped.
class Notifier final : public QObject
{
    Q_OBJECT

public:
    Notifier();           ///< Needs a QCoreApplication.
    ~Notifier() override; ///< Closes all notifications: nobody would handle their actions. Does not wait.

    /// Plain texts. Replaces a notification of the same `id` that is still shown; an empty `body` closes that one.
    void notify(const QString &title, const QString &body, const QString &id);

Q_SIGNALS:
    /// A click on it; offered only if somebody is connected. `token`, which may be empty, lets a window take the focus.
    void activated(const QString &id, const QByteArray &token);
    void sessionRequested(const QString &id); ///< The user asks for the session's terminal.

private Q_SLOTS:
    void reportAction(uint number, const QString &action);
    void keepToken(uint number, const QString &token);
    void forgetClosed(uint number, uint reason);

private:
    struct Shown
    {
        uint number = 0;                                 // the service's; 0 where it has none yet
        bool isPending = false;                          // the service has not answered
        std::optional<std::pair<QString, QString>> next; // the newest title and body, to be sent after that
    };

    template <typename Answered>
    void call(const QString &method, const QVariantList &arguments, Answered answered);
    void send(const QString &id);
    // The service's signals go to all programs, so most numbers are those of others.
    [[nodiscard]] QHash<QString, Shown>::const_iterator find(uint number) const;

    QDBusConnection m_bus;
    QHash<QString, Shown> m_shown;
    QByteArray m_token;
};
