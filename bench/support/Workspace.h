#pragma once

#include "Plumtide/system/Environment.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <vector>

/// A home directory for one measured thing, removed at the end. It is in the build tree, or in `$TMPDIR` where that
/// is set: on a real disk, unlike most /tmp.
class Workspace
{
public:
    Workspace();

    [[nodiscard]] QString home() const { return m_directory.path(); }
    [[nodiscard]] QString path(const QString &relative) const { return home() + u'/' + relative; }
    [[nodiscard]] QString logFile() const { return path(QStringLiteral(".tavvel/events.jsonl")); }
    [[nodiscard]] QString tasksFile() const { return path(QStringLiteral(".tavvel/tasks.json")); }
    [[nodiscard]] QString defaultsFile() const { return path(QStringLiteral(".config/plumtide/plumtide.conf")); }

    void write(const QString &path, const QByteArray &content) const; ///< Makes the directories, too.

    /// Waits until the disk has nothing left to do, so that no run pays for an earlier one.
    void settleDisk() const;

    /// The real environment but for the home directory.
    [[nodiscard]] Environment environment() const;

    /// What a child process is given: this home, a plain PATH or `path` in its stead, no desktop and no bus.
    [[nodiscard]] std::vector<QByteArray> variables(const QByteArray &path = {}) const;

private:
    QTemporaryDir m_directory;
};
