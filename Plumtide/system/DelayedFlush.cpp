#include "Plumtide/system/DelayedFlush.h"

#include "Plumtide/system/Descriptor.h"

#include <QFile>
#include <QFileInfo>

#include <chrono>
#include <system_error>

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
    if (!m_isLeft)
        return;
    if (m_isFlushing) { // a slow disk is still at the last ones
        m_timer.start();
        return;
    }
    if (m_thread.joinable())
        m_thread.join();
    m_isFlushing = true;
    try {
        m_thread = std::thread([this] {
            for (const QString &path : m_paths)
                flushFile(path);
            m_isFlushing = false;
        });
        m_isLeft = false;
    } catch (const std::system_error &) { // no thread to be had just now
        m_isFlushing = false;
        m_timer.start();
    }
}

void DelayedFlush::flushNow()
{
    if (m_thread.joinable())
        m_thread.join();
    startFlushing();
    if (m_thread.joinable())
        m_thread.join();
}
