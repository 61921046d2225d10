#include "Plumtide/system/DelayedFlush.h"

#include "Plumtide/system/Descriptor.h"

#include <QFileInfo>

#include <algorithm>
#include <chrono>
#include <system_error>

using namespace std::chrono_literals;

namespace {

// And the folder that names it. Where a link leads is where the file was replaced.
void flushFile(const QString &path)
{
    const QFileInfo file(QFileInfo(path).canonicalFilePath());
    if (!file.exists())
        return;
    for (const QString &place : {file.filePath(), file.path()})
        ::fsync(Descriptor(place, O_RDONLY).get());
}

} // namespace

DelayedFlush::DelayedFlush(QStringList paths) : m_paths(std::move(paths))
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(1s);
    m_timer.callOnTimeout([this] { startFlushing(); });
}

void DelayedFlush::written()
{
    m_isLeft = true;
    if (!m_timer.isActive())
        m_timer.start();
}

void DelayedFlush::startFlushing()
{
    m_timer.stop();
    if (!m_isLeft)
        return;
    if (m_flush.valid() && m_flush.wait_for(0s) != std::future_status::ready) { // a slow disk is still at the last ones
        m_timer.start();
        return;
    }
    try {
        m_flush = std::async(std::launch::async, [this] { std::ranges::for_each(m_paths, flushFile); });
        m_isLeft = false;
    } catch (const std::system_error &) { // no thread to be had just now
        m_timer.start();
    }
}

void DelayedFlush::flushNow()
{
    for (int i = 0; i < 2; ++i) {
        if (m_flush.valid())
            m_flush.wait();
        startFlushing();
    }
}
