#pragma once

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/store/TaskLines.h"

#include <QSet>

#include <functional>

/// The task lines, and the rules by which an event, the sweep of each minute and the user change them. It does no input
/// or output and has no clock. Its functions only say how lines shall change; a line changes when the edit is handed to
/// `applyEdit`, so that the caller can announce a change before it is made and save it afterwards.
class Board : public TaskLines
{
public:
    /// A notification for the user, which replaces an earlier one of the same kind and line. Without a body it
    /// withdraws that one.
    struct Notice
    {
        enum class Kind { approval, stuck, replied, summary };

        Kind kind;
        QString line; // the id of a line; empty in a summary, which is about several
        QString title = {};
        QString body = {};

        /// The notification's id: its kind, "-", and the id of the line.
        [[nodiscard]] QString id() const
        {
            constexpr std::array kinds{"approval-", "stuck-", "replied-", "summary-"};
            return QLatin1StringView(kinds[static_cast<std::size_t>(kind)]) + line;
        }
        [[nodiscard]] static QString lineOf(const QString &id) { return id.section(u'-', 1); } ///< Its line's id.
    };
    struct Changes
    {
        QList<Notice> notices = {}; // before the edits
        QList<Edit> edits = {};     // each is a change of its own
        QStringList ended = {};     // the lines whose sessions have ended
    };

    /// What is to be told of a line that asks for an approval, by its waiting reason.
    [[nodiscard]] static Notice approvalOf(const AgentTask &line);

    [[nodiscard]] Changes apply(const HookEvent &event, const QDateTime &now);
    /// Sets the waiting reason of a line that waits for an approval to `request`.
    [[nodiscard]] Changes showRequest(const HookEvent &request) const;
    /// Warns of silent lines and closes those whose agent is gone. `hasEnded` says of a session of Claude Code whether
    /// its process is known to have ended.
    [[nodiscard]] Changes sweep(const QDateTime &now, const std::function<bool(const QString &line)> &hasEnded);
    [[nodiscard]] QList<AgentTask> linesToKeep(const QDateTime &now) const; ///< All but those that ended long ago.

    [[nodiscard]] Changes upsert(AgentTask line, const QDateTime &now) const;
    /// Of all these lines; putting them away is one step to be undone.
    [[nodiscard]] Changes setStatus(const QStringList &ids, AgentTaskStatus status, const QDateTime &now);
    [[nodiscard]] Changes undo();
    [[nodiscard]] QList<Edit> undoable() const { return Board(*this).undo().edits; } ///< What the next `undo` restores.

private:
    static constexpr qsizetype mostUndoSteps = 10;

    using UndoStep = QList<std::pair<AgentTask, AgentTask>>; // lines before and after it

    QList<UndoStep> m_undoSteps;   // the latest at the end
    QSet<QString> m_stuckNotified; // ids of lines that the user was warned of
};
