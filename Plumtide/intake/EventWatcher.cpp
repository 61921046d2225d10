#include "Plumtide/intake/EventWatcher.h"

#include "Plumtide/system/FileChangeSource.h"
#include "Plumtide/system/SerialQueue.h"

#include <QFile>

EventWatcher::EventWatcher(QString logPath, std::shared_ptr<Defaults> defaults, OnEvent onEvent,
                           std::chrono::milliseconds pollEvery)
    : m_path(QFile::encodeName(logPath)),
      m_pollEvery(pollEvery),
      m_log(std::move(logPath), std::move(defaults), std::move(onEvent)),
      m_queue(std::make_unique<SerialQueue>("tavvel.eventwatcher"))
{
}

EventWatcher::~EventWatcher()
{
    stop();
}

void EventWatcher::start()
{
    m_queue->async([this] {
        m_log.rotateIfNeeded();
        attachIfPossible();
        m_log.readNewLines();
        m_queue->startTimer(m_pollEvery, [this] { poll(); });
    });
}

void EventWatcher::stop()
{
    m_log.stopReading();
    m_queue->stop();
}

void EventWatcher::attachIfPossible()
{
    if (m_source)
        return;
    m_source = FileChangeSource::open(*m_queue, m_path, [this](bool isGone) {
        if (isGone) {
            detach();
            attachIfPossible(); // its successor, if that is there already; else the poll finds it
        }
        m_log.readNewLines();
    });
}

void EventWatcher::detach()
{
    m_source.reset();
}

void EventWatcher::poll()
{
    if (m_source && !m_source->isCurrent())
        detach();
    attachIfPossible();
    m_log.readNewLines();
}
