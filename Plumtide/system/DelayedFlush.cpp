#include "Plumtide/system/DelayedFlush.h"

#include "Plumtide/system/Descriptor.h"

#include <QFileInfo>

#include <chrono>
#include <system_error>

using namespace std::chrono_literals;

DelayedFlush::DelayedFlush(QStringList paths) : m_paths(std::move(paths))
{
    m_timer.setInterval(1s);
    m_timer.callOnTimeout([this] { startFlushing(); });
}

DelayedFlush::~DelayedFlush()
{
    if (m_flush.valid())
        m_flush.wait();
    if (m_timer.isActive())
        flushAll();
}

void DelayedFlush::written()
{
    if (!m_timer.isActive())
        m_timer.start();
}

void DelayedFlush::startFlushing()
{
    const bool isIdle = !m_flush.valid() || m_flush.wait_for(0s) == std::future_status::ready; // else the disk is slow
    try {
        if (m_timer.isActive() && isIdle) {
            m_flush = std::async(std::launch::async, [this] { flushAll(); });
            m_timer.stop();
        }
    } catch (const std::system_error &) { // no thread available
    }
}

void DelayedFlush::flushAll() const
{
    for (const QString &path : m_paths) {
        // Files::replace has written the target of a link.
        const QString target = QFileInfo(path).canonicalFilePath();
        if (target.isEmpty())
            continue;
        for (const QString &place : {target, QFileInfo(target).path()})
            ::fsync(Descriptor(place, O_RDONLY).get());
    }
}
