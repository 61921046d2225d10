#pragma once

#include <QStringList>
#include <QTimer>

#include <future>

/// Flushes files a second after a change, on a thread of its own, so that many changes cost one flush a second and the
/// main thread never waits for the disk. A power cut loses at most that second on file systems that write a file before
/// they rename it over another (ext4, btrfs); on others (XFS) it can leave an empty file.
class DelayedFlush
{
public:
    /// `paths` are flushed together, with their folders; those that do not exist are skipped.
    explicit DelayedFlush(QStringList paths);
    ~DelayedFlush(); ///< Flushes what is left, and waits for it.

    void written();       ///< After a change of one of the files.
    void startFlushing(); ///< Flushes now instead of after a second, but does not wait for it.

private:
    void flushAll() const; // any thread

    const QStringList m_paths;
    QTimer m_timer;            // runs from a change until a flush was started
    std::future<void> m_flush; // the last one
};
