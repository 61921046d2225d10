#pragma once

#include <QStringList>
#include <QTimer>

#include <future>

/// Brings files that are replaced often to the disk, a second after a change and on a thread of its own, so that a
/// burst of changes costs one wait for the disk a second and the main thread none. A power cut in between costs that
/// second on file systems that write a file before they rename it over another (ext4, btrfs); on others (XFS) it can
/// leave an empty file. Thread: the main thread.
class DelayedFlush
{
public:
    /// `paths` are flushed together, with the folders that name them; those that do not exist are passed over.
    explicit DelayedFlush(QStringList paths);
    ~DelayedFlush() { flushNow(); }

    void written();       ///< After a change of one of the files.
    void startFlushing(); ///< What has changed: does not wait for the second, nor for the disk.
    void flushNow();      ///< Waits until nothing is left to flush.

private:
    const QStringList m_paths;
    QTimer m_timer;
    bool m_isLeft = false;     // something that has changed since it was flushed
    std::future<void> m_flush; // the last one
};
