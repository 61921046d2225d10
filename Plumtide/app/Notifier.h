#pragma once

#include <QString>

#include <functional>
#include <memory>

class NotificationService;

/// Puts a desktop notification in front of the user when a line needs attention.
/// Thread: main thread.
class Notifier
{
public:
    explicit Notifier(std::unique_ptr<NotificationService> service);
    ~Notifier();
    Notifier(const Notifier &) = delete;
    Notifier &operator=(const Notifier &) = delete;

    /// The one of the user's desktop, made on first use and alive until the process ends.
    static Notifier &shared();

    /// Whether notifications can be used at all: there is a session bus. Decided at creation, once.
    [[nodiscard]] bool available() const { return m_available; }

    /// Returns at once and never fails. It replaces an earlier notification with the same `id` that is still
    /// on show. All three are plain text.
    void notify(const QString &title, const QString &body, const QString &id);

    /// `activated` is called with the `id` of a notification that the user clicks. Set once.
    void setActivated(std::function<void(const QString &id)> activated);

private:
    std::unique_ptr<NotificationService> m_service;
    bool m_available;
};
