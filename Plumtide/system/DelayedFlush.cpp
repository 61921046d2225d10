#include "Plumtide/system/DelayedFlush.h"

#include "Plumtide/system/Descriptor.h"

#include <QFile>
#include <QFileInfo>

#include <chrono>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

void flush(const QString &path)
{
    const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file.isOpen())
        ::fsync(file.get());
}

// And the folder that names it. Where a link leads is where the file was replaced.
void flushFile(const QString &path)
{
    const QFileInfo file(QFileInfo(path).canonicalFilePath());
    if (!file.exists())
        return;
    flush(file.filePath());
    flush(file.path());
}

} // namespace

DelayedFlush::DelayedFlush(QStringList paths) : m_paths(std::move(paths))
{
    m_pool.setMaxThreadCount(1);
    m_pool.setExpiryTimeout(0);
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
    if (m_pool.activeThreadCount() > 0) { // a slow disk is still at the last ones
        m_timer.start();
        return;
    }
    if (std::exchange(m_isLeft, false)) {
        m_pool.start([paths = m_paths] {
            for (const QString &path : paths)
                flushFile(path);
        });
    }
}

void DelayedFlush::flushNow()
{
    m_pool.waitForDone();
    startFlushing();
    m_pool.waitForDone();
}
