#include "Plumtide/system/DelayedFlush.h"

#include "Plumtide/system/Descriptor.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void flushToDisk(const QByteArray &path, int flags)
{
    const Descriptor file(::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags));
    if (file.isOpen())
        ::fsync(file.get());
}

// The files first, then the directories that name them.
void flushAll(const QList<QByteArray> &files)
{
    QSet<QByteArray> directories;
    for (const QByteArray &file : files) {
        flushToDisk(file, 0);
        directories.insert(file.first(qMax<qsizetype>(file.lastIndexOf('/'), 0)));
    }
    for (const QByteArray &directory : std::as_const(directories))
        flushToDisk(directory, O_DIRECTORY);
}

} // namespace

DelayedFlush::DelayedFlush(QStringList paths, QObject *parent) : QObject(parent), m_paths(std::move(paths))
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(delay);
    connect(&m_timer, &QTimer::timeout, this, &DelayedFlush::startFlushing);
}

DelayedFlush::~DelayedFlush()
{
    flushNow();
}

void DelayedFlush::written()
{
    if (!m_oldestChange.isValid()) {
        m_oldestChange.start();
        m_timer.start();
    } else if (m_oldestChange.hasExpired(std::chrono::milliseconds(delay).count())) {
        startFlushing(); // the timer is late: the event loop is busy
    }
}

void DelayedFlush::flushNow()
{
    if (m_flusher.joinable())
        m_flusher.join();
    if (m_oldestChange.isValid())
        startFlushing();
    if (m_flusher.joinable())
        m_flusher.join();
}

void DelayedFlush::startFlushing()
{
    if (m_isFlushing) {
        m_timer.start(); // a slow disk: the changes since then have to wait
        return;
    }
    m_timer.stop();
    m_oldestChange.invalidate();
    if (m_flusher.joinable())
        m_flusher.join();

    QList<QByteArray> files;
    QHash<QString, Version> versions;
    for (const QString &path : m_paths) {
        // Where a link leads is where the file was replaced.
        const QByteArray name = QFile::encodeName(QFileInfo(path).canonicalFilePath());
        struct stat status = {};
        if (name.isEmpty() || ::stat(name.constData(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        const Version version{status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
        versions.insert(path, version);
        if (m_flushed.value(path) != version)
            files.append(name);
    }
    if (files.isEmpty())
        return;
    m_isFlushing = true;
    try {
        m_flusher = std::thread([this, files] {
            flushAll(files);
            m_isFlushing = false;
        });
        m_flushed = versions;
    } catch (const std::system_error &) {
        // No thread to be had just now.
        m_isFlushing = false;
        written();
    }
}
