#include "Plumtide/intake/EventWatcher.h"

#include <system_error>

#include <pthread.h>

using namespace std::chrono_literals;

EventWatcher::EventWatcher(const QString &logPath, std::optional<qint64> position, const QString &sessions,
                           Handlers handlers, std::chrono::milliseconds pollEvery)
    : m_pollEvery(pollEvery),
      m_log(logPath, position, std::move(handlers.onEvent)),
      m_sessions(sessions, std::move(handlers.onRecord)),
      m_onCaughtUp(std::move(handlers.onCaughtUp)),
      m_watch(logPath, sessions)
{
}

EventWatcher::~EventWatcher()
{
    stop();
}

void EventWatcher::start()
{
    if (m_thread.joinable())
        return;
    try {
        m_thread = std::thread(&EventWatcher::run, this);
    } catch (const std::system_error &) { // for the next call
    }
}

void EventWatcher::stop()
{
    m_log.stopReading();
    m_sessions.stopReading();
    m_watch.end();
    if (m_thread.joinable())
        m_thread.join();
}

void EventWatcher::run()
{
    ::pthread_setname_np(::pthread_self(), "tavvel.eventwat"); // 15 bytes are the longest
    // What is about to be emptied is visited before; else new lines come first.
    while (m_log.isReadAndLarge() && visitOld() && m_watch.wait(0ms)) {
    }
    m_log.rotateIfNeeded();
    m_log.readNewLines();
    m_onCaughtUp();
    for (auto patience = 0ms; m_watch.wait(patience); patience = visitOld() ? 0ms : m_pollEvery) {
        m_sessions.read(m_watch.attach()); // in this order: what comes between the two is reported
        m_log.readNewLines();
    }
}

bool EventWatcher::visitOld()
{
    if (m_visitOld && !m_log.lookBack(m_visitOld))
        m_visitOld = nullptr;
    return m_visitOld != nullptr;
}
