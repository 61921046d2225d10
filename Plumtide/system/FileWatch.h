#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <chrono>
#include <optional>

/// Waits for changes of the file at a path, and of the files in a folder, whichever these are at the moment.
/// Thread: one thread at a time, except `end`.
class FileWatch
{
public:
    FileWatch(const QString &file, const QString &folder);

    /// From now on, changes of what the paths lead to are reported. Where there is nothing, or the system has no watch
    /// to give, nothing is reported, and the next call tries again. The names of the files in the folder that were
    /// written, came or went since the last call; nothing where it may have been any of them.
    std::optional<QSet<QString>> attach();
    /// Waits until something has happened to one of them, at most for `patience`. False after `end`.
    bool wait(std::chrono::milliseconds patience);
    void end(); ///< Ends a `wait`, and every later one. Any thread.

private:
    [[nodiscard]] int watch(const QByteArray &path, uint32_t kinds, int before) const;

    const QByteArray m_filePath, m_folderPath, m_parentPath;
    const Descriptor m_end;                        // eventfd: readable once the end has come
    const Descriptor m_reports;                    // inotify
    int m_file = -1, m_folder = -1, m_parent = -1; // their watches
    QSet<QString> m_changed;
};
