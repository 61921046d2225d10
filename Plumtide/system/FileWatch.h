#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <atomic>
#include <chrono>
#include <optional>

#include <sys/inotify.h>

/// Waits for changes of files and folders, which may be missing or replaced. One thread at a time, except `interrupt`.
class FileWatch
{
public:
    FileWatch();

    /// Watches what is at `path` now, for the events of inotify in `mask`. The names of the files in the folder that
    /// were reported by the last `wait`; nothing if it may have been any of them: it is watched anew, or there is
    /// nothing, or the system has no watch left, and the next call tries again.
    std::optional<QSet<QString>> attach(const QString &path, uint32_t mask);
    /// The same for a folder; where it is missing, it waits for the creation of it and of so many of its parents.
    std::optional<QSet<QString>> attachFolder(const QString &path, uint32_t mask, int parents);
    /// Waits for a change, at most for `timeout`. False after `interrupt`.
    bool wait(std::chrono::milliseconds timeout);
    /// Ends `wait`, now and later; only with its timeout where the system had no eventfd left. Any thread.
    void interrupt();

private:
    struct Watch
    {
        int descriptor = -1;
        bool isComplete = false; // no change was missed since the last `wait`
        QSet<QString> changed = {};
    };

    const Descriptor m_wakeFd; // eventfd
    const Descriptor m_inotifyFd;
    std::atomic<bool> m_isInterrupted = false;
    QHash<QString, Watch> m_watches; // by path
};
