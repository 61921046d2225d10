#include "Plumtide/system/DelayedFlush.h"

#include "Plumtide/system/Descriptor.h"

#include <QFile>
#include <QFileInfo>

#include <chrono>

#include <fcntl.h>
#include <unistd.h>

namespace {

void flush(const QString &path)
{
    const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file.isOpen())
        ::fsync(file.get());
}

} // namespace

DelayedFlush::DelayedFlush(QStringList paths) : m_paths(std::move(paths))
{
    m_thread.setMaxThreadCount(1);
    m_thread.setExpiryTimeout(0); // its next work is a second away at least
    m_timer.setSingleShot(true);
    m_timer.setInterval(std::chrono::seconds(1));
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
    const auto flushAll = [paths = m_paths] {
        for (const QString &path : paths) {
            const QFileInfo file(QFileInfo(path).canonicalFilePath()); // where a link leads is where it was replaced
            if (!file.exists())
                continue;
            flush(file.filePath());
            flush(file.path());
        }
    };
    if (m_isLeft)
        m_isLeft = !m_thread.tryStart(flushAll);
    if (m_isLeft) // a slow disk is still at the last ones
        m_timer.start();
}

void DelayedFlush::flushNow()
{
    m_thread.waitForDone();
    startFlushing();
    m_thread.waitForDone();
}
