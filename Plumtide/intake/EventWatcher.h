#pragma once

#include "Plumtide/intake/EventLog.h"
#include "Plumtide/system/FileWatch.h"

#include <chrono>
#include <thread>

/// Follows the events log and hands over every complete line as a HookEvent, in file order: at once when the system
/// reports a change, and every five seconds in any case, which also finds a log that is made, replaced or becomes
/// readable later.
/// Thread: made, started and stopped on one thread; `onEvent` is called on the watcher's own thread,
/// "tavvel.eventwatcher", one call at a time, and may take its time: nothing more is read until it returns.
/// Errors: none reach the caller. A missing, shortened or replaced log is normal and is tried again.
class EventWatcher
{
public:
    static constexpr std::chrono::seconds pollInterval{5};
    using OnEvent = EventLog::OnEvent;

    /// `defaults` keeps the read offset.
    EventWatcher(const QString &logPath, std::shared_ptr<Defaults> defaults, OnEvent onEvent,
                 std::chrono::milliseconds pollEvery = pollInterval);
    ~EventWatcher(); ///< As `stop`.

    /// Calls `visit`, on the watcher's thread and before any older line is lost, with the lines that were read in
    /// earlier lives, until it returns false. New lines do not wait for it. Before `start`.
    void lookBack(std::function<bool(QByteArrayView line)> visit) { m_visitOld = std::move(visit); }
    void start(); ///< Returns at once; call it once.

    /// Reads nothing more. Every event whose place in the log is stored as read has been handed over when it
    /// returns, so `onEvent` must not wait for the calling thread.
    void stop();

private:
    void run();
    bool visitOld(); // some lines; false when there is no more to be seen

    const std::chrono::milliseconds m_pollEvery;
    const std::shared_ptr<Defaults> m_defaults;
    EventLog m_log;
    FileWatch m_watch;
    std::function<bool(QByteArrayView)> m_visitOld;
    std::thread m_thread;
};
