#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <atomic>
#include <chrono>
#include <optional>

/// Waits for changes of the file at a path and of the files in a folder. Both may be missing, and may be replaced. One
/// thread at a time, except `interrupt`.
class FileWatch
{
public:
    FileWatch(const QString &file, const QString &folder);

    /// Watches what is at the paths now; where there is nothing, or the system has no watch left, the next call tries
    /// again. The names of the files in the folder that were written, created or removed since the last call; nothing
    /// if it may have been any of them.
    std::optional<QSet<QString>> attach();
    /// Waits for a change, at most for `timeout`. False after `interrupt`.
    bool wait(std::chrono::milliseconds timeout);
    /// Ends a running `wait` and every later one. Where the system had no eventfd left, a running one ends only with
    /// its timeout. Any thread.
    void interrupt();

private:
    [[nodiscard]] int watch(const QByteArray &path, uint32_t kinds, int before) const;

    const QByteArray m_filePath, m_folderPath, m_parentPath;
    const Descriptor m_wakeFd; // eventfd
    const Descriptor m_inotifyFd;
    int m_file = -1, m_folder = -1, m_parent = -1; // watch descriptors
    std::atomic<bool> m_isInterrupted = false;
    QSet<QString> m_changed;
};
