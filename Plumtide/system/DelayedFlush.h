#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <thread>

#include <sys/types.h>
#include <time.h>

/// Brings files that are replaced often to the disk, at the latest `delay` after a change and on a thread of its
/// own, so that a burst of changes costs one wait for the disk a second and the main thread none. A power cut in
/// between costs that second on file systems that write a file before they rename it over another (ext4, btrfs);
/// on others (XFS) it can leave an empty file.
/// Thread: the main thread.
class DelayedFlush final : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::seconds delay{1};

    /// `paths` are flushed together; those that do not exist are passed over.
    explicit DelayedFlush(QStringList paths, QObject *parent = nullptr);
    ~DelayedFlush() override; ///< As `flushNow`.

    void written();       ///< After a change of one of the files.
    void startFlushing(); ///< Does not wait for `delay`, nor for the disk.
    void flushNow();      ///< Waits until nothing is left to flush.

private:
    struct Version
    {
        ino_t inode = 0;
        time_t changedSeconds = 0;
        long changedNanoseconds = 0;
        bool operator==(const Version &) const = default;
    };

    const QStringList m_paths;
    QHash<QString, Version> m_flushed; // what each file was when it was flushed last
    QTimer m_timer;
    QElapsedTimer m_oldestChange; // invalid while nothing waits
    std::thread m_flusher;        // joined before this object ends
    std::atomic<bool> m_isFlushing = false;
};
