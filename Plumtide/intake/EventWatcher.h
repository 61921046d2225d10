#pragma once

#include "Plumtide/intake/EventLog.h"
#include "Plumtide/intake/SessionFollower.h"
#include "Plumtide/system/FileWatch.h"

#include <chrono>
#include <thread>

/// Follows the events log and hands over every complete line as a HookEvent, in file order, and what Claude Code's
/// session records say: at once when the system reports a change, and every five seconds in any case, which also finds
/// what is made, replaced or becomes readable later. Of what is there at the start the log comes first; later the
/// records do, so that an event meets what was known of its session at that moment.
/// Thread: made, started and stopped on one thread; the handlers are called on the watcher's own thread,
/// "tavvel.eventwatcher", one call at a time, and may take their time: nothing more is read until they return.
/// Errors: none reach the caller. A missing, shortened or replaced log is normal and is tried again.
class EventWatcher
{
public:
    static constexpr std::chrono::seconds pollInterval{5};
    /// What is to become of what was read.
    struct Handlers
    {
        EventLog::OnEvent onEvent;
        SessionFollower::OnChange onRecord;
        std::function<void()> onCaughtUp; ///< Once, after the events that were in the log at the start.
    };

    /// `position` is where to go on in the log, see EventLog; `sessions` is the folder of the session records.
    EventWatcher(const QString &logPath, std::optional<qint64> position, const QString &sessions, Handlers handlers,
                 std::chrono::milliseconds pollEvery = pollInterval);
    ~EventWatcher(); ///< As `stop`.

    /// Calls `visit`, on the watcher's thread and before any older line is lost, with the lines of the log from its
    /// start on, until it returns false. New lines do not wait for it. Before `start`.
    void lookBack(std::function<bool(QByteArrayView line)> visit) { m_visitOld = std::move(visit); }
    /// Returns at once. Does nothing while the watcher runs, nor where there is no thread to be had: call it again
    /// then.
    void start();

    /// Reads nothing more, and waits for a handler that is running, which must not wait for the calling thread.
    void stop();

private:
    void run();
    bool visitOld(); // some lines; false when there is no more to be seen

    const std::chrono::milliseconds m_pollEvery;
    EventLog m_log;
    SessionFollower m_sessions;
    const std::function<void()> m_onCaughtUp;
    FileWatch m_watch;
    std::function<bool(QByteArrayView)> m_visitOld;
    std::thread m_thread;
};
