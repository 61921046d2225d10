#pragma once

#include "Plumtide/intake/EventLog.h"
#include "Plumtide/intake/SessionFollower.h"
#include "Plumtide/system/FileWatch.h"

#include <chrono>
#include <thread>

/// Follows the events log and the agents' session records. It reads when the system reports a change, and every five
/// seconds in any case, which also finds files that are created, replaced or become readable later. At the start it
/// reads the log first. Later it reads the records first, so that they are known when an event is handled.
/// Thread: created, started and destroyed on one thread. The handlers are called on the watcher's own thread,
/// "tavvel.eventwatcher", one call at a time; nothing more is read until they return.
/// Errors: none reach the caller. A missing, shortened or replaced log is normal and is tried again.
class EventWatcher
{
public:
    static constexpr std::chrono::seconds pollInterval{5};
    /// Receive what was read.
    struct Handlers
    {
        EventLog::OnEvent onEvent;
        std::function<void()> onCaughtUp; ///< Once, after the events that were in the log at the start.
        /// Receives the whole log, between new lines and before it is truncated. May be empty.
        EventLog::Visit onHistory = {};
    };

    /// `position` is where to continue in the log, see EventLog.
    EventWatcher(const QString &logPath, std::optional<qint64> position, SessionFollowers sessions, Handlers handlers,
                 std::chrono::milliseconds pollEvery = pollInterval);
    ~EventWatcher(); ///< Stops reading and waits for a running handler, which must not wait for this thread.

    /// Does nothing if the watcher runs already. Where the system has no thread available, it can be called again.
    void start();

private:
    void run();
    bool scanHistory(); // one block; false after the last one

    const std::chrono::milliseconds m_pollEvery;
    const QString m_logPath;
    Handlers m_handlers; // `onHistory` is empty once it wants no more
    EventLog m_log;
    const SessionFollowers m_sessions;
    FileWatch m_watch;
    std::thread m_thread;
};
