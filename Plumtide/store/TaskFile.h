#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/system/DelayedFlush.h"
#include "Plumtide/system/Outcome.h"

#include <QByteArrayList>
#include <QList>
#include <QString>

#include <optional>

/// The stored task lines: `tasks.json`, one JSON array of records, pretty-printed with sorted keys.
/// The file is replaced as a whole on every save, so a reader or the next start never sees half of it; only the
/// lines that changed since the last save are encoded again.
class TaskFile
{
public:
    /// `flushWith` are files to be flushed with this one. The destructor waits until the last save is on the disk.
    TaskFile(QString path, const QStringList &flushWith)
        : m_path(std::move(path)), m_flush(QStringList{m_path} + flushWith)
    {
    }

    /// The stored lines. A file that holds anything else is moved aside to "tasks.corrupt.json" (numbered from the
    /// second on) and counts as empty; so does one that cannot be read, which is moved aside before the first save.
    [[nodiscard]] QList<AgentTask> load();

    /// Replaces the file, unless nothing has changed and the file still has the content of the last save. Every changed
    /// or appended line must have been named by `lineChanged` before, or all of them by `linesChanged`.
    Outcome<void> save(const QList<AgentTask> &lines);
    void lineChanged(qsizetype index);
    void linesChanged() { m_texts.clear(), m_isSaved = false; }

    /// A save reaches the disk within a second by itself; this begins at once, and does not wait.
    void startFlushing() { m_flush.startFlushing(); }

    /// The bytes of a file with these lines, and back; nothing when the bytes are no array of records.
    [[nodiscard]] static QByteArray encode(const QList<AgentTask> &lines);
    [[nodiscard]] static std::optional<QList<AgentTask>> decode(const QByteArray &content);

private:
    Outcome<void> moveAside();

    const QString m_path;
    DelayedFlush m_flush;
    bool m_mustMoveAside = false; // a file that was not understood is still in the way
    bool m_isSaved = false;       // no line has changed since the last save
    QByteArrayList m_texts;       // the lines as saved last; an empty one must be encoded again
    QByteArray m_content;         // of the last save
};
