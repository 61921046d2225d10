#pragma once

#include <QString>

#include <chrono>
#include <functional>
#include <memory>

/// Desktop notifications through org.freedesktop.Notifications on the session bus. A notification with the
/// identifier of an earlier one takes its place on the screen.
/// Thread: main thread, with a running event loop for anything to be shown.
/// Errors: none reach the caller. Without a bus, without a service, or with one that does not answer,
/// notifications are dropped. Nothing is connected before the first one, and nothing runs between two of
/// them.
class NotificationService
{
public:
    struct Notification
    {
        QString identifier; ///< Never shown.
        QString title;      ///< Plain text.
        QString body;       ///< Plain text; escaped where the service takes markup.
    };

    /// How long a bus may take to greet, and a service to answer one call.
    static constexpr std::chrono::milliseconds defaultPatience{10'000};

    /// Identifiers that are remembered or waiting; beyond that the longest unused one is forgotten.
    static constexpr std::size_t identifierCapacity = 128;

    /// Calls that may be waiting for an answer at the same time.
    static constexpr int unansweredCapacity = 16;

    /// Called on the main thread when the user clicks a notification, with its identifier.
    using Activated = std::function<void(const QString &identifier)>;

    /// The bus is the one of SessionBus.
    explicit NotificationService(std::chrono::milliseconds patience = defaultPatience);
    ~NotificationService(); ///< Does not wait for a bus that does not answer.
    NotificationService(const NotificationService &) = delete;
    NotificationService &operator=(const NotificationService &) = delete;

    /// Whether there is a bus to try, decided once; whether anybody answers there is another matter.
    [[nodiscard]] bool isAvailable() const;

    /// Returns at once. While an earlier one with the same identifier is still on its way, this one waits for
    /// it so that it can replace it; of several that wait only the newest is kept.
    void post(const Notification &notification);

    /// Set once. Where the service knows no actions, clicks are never reported.
    void setActivated(Activated activated);

private:
    class Session;
    std::unique_ptr<Session> m_session;
};
