#include "Plumtide/intake/EventWatcher.h"

#include <system_error>

#include <pthread.h>

using namespace std::chrono_literals;

EventWatcher::EventWatcher(const QString &logPath, std::optional<qint64> position, SessionFollowers sessions,
                           Handlers handlers, std::chrono::milliseconds pollEvery)
    : m_pollEvery(pollEvery),
      m_logPath(logPath),
      m_handlers(std::move(handlers)),
      m_log(logPath, position, m_handlers.onEvent),
      m_sessions(std::move(sessions))
{
}

EventWatcher::~EventWatcher()
{
    m_log.stopReading();
    for (const auto &follower : m_sessions)
        follower->stopReading();
    m_watch.interrupt();
    if (m_thread.joinable())
        m_thread.join();
}

void EventWatcher::start()
{
    if (m_thread.joinable())
        return;
    try {
        m_thread = std::thread(&EventWatcher::run, this);
    } catch (const std::system_error &) { // no thread available
    }
}

void EventWatcher::run()
{
    ::pthread_setname_np(::pthread_self(), "tavvel.eventwat"); // 15 bytes are the longest
    // A log that is about to be truncated is scanned before; otherwise new lines come first.
    while (m_log.needsRotation() && scanHistory() && m_watch.wait(0ms)) {
    }
    m_log.rotateIfNeeded();
    m_log.readNewLines();
    m_handlers.onCaughtUp();
    for (auto timeout = 0ms; m_watch.wait(timeout);) {
        // Before it is read, so that no change is missed. A file unlinked while it is open only changes its link count.
        m_watch.attach(m_logPath, IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF);
        timeout = m_pollEvery;
        for (const auto &follower : m_sessions)
            timeout = std::min(timeout, follower->read(m_watch));
        m_log.readNewLines();
        timeout = scanHistory() ? 0ms : timeout;
    }
}

bool EventWatcher::scanHistory()
{
    if (m_handlers.onHistory && !m_log.scanHistory(m_handlers.onHistory))
        m_handlers.onHistory = nullptr;
    return m_handlers.onHistory != nullptr;
}
