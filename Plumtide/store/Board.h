#pragma once

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/store/TaskLines.h"

#include <QSet>

#include <functional>

/// The task lines, and what an event, a minute's sweep and the user make of them. It knows values and the time that it
/// is told, and nothing else of the world.
/// These functions only say how lines shall change; they change when each edit is handed to `take`, so that whoever
/// keeps the board can announce a change before it is made and save it afterwards.
class Board : public TaskLines
{
public:
    /// A notification for the user, which replaces an earlier one of the same id. Without a body it takes that one
    /// back: what it said is no longer true.
    struct Notice
    {
        QString title;
        QString body;
        QString id;
    };
    struct Changes
    {
        QList<Notice> notices; // before the edits
        QList<Edit> edits;     // each is a change of its own
    };

    [[nodiscard]] Changes apply(const HookEvent &event, const QDateTime &now);
    /// Names `request` as what its line waits for, where the line waits for something else.
    [[nodiscard]] Changes name(const HookEvent &request) const;
    /// Warns of silent lines and closes those whose agent is gone. `hasEnded` is asked of sessions of Claude Code: true
    /// where one is known to have no process any more.
    [[nodiscard]] Changes sweep(const QDateTime &now, const std::function<bool(const QString &session)> &hasEnded);
    [[nodiscard]] QList<AgentTask> linesToKeep(const QDateTime &now) const; ///< All but those that ended long ago.

    [[nodiscard]] Changes upsert(AgentTask line, const QDateTime &now) const;
    [[nodiscard]] Changes setStatus(const QString &id, AgentTaskStatus status, const QDateTime &now) const;

private:
    QSet<QString> m_stuckNotified; // ids of lines that were warned of
};
