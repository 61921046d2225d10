#pragma once

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/intake/SessionFollower.h"
#include "Plumtide/store/TaskLines.h"
#include "Plumtide/system/Environment.h"

#include <QMultiHash>
#include <QQueue>

/// What the agents' own records say of their sessions, and where the lines say something else: no event tells that a
/// request was refused, and an event of a subagent, or the end of its parent's turn, does not close an open dialog; of
/// Codex, only the end of a turn that ended well has an event. A record counts only while its process lives.
class AgentRecords
{
public:
    /// A line and its record must differ for so long, where an event may be on its way: the two do not come at once.
    static constexpr std::chrono::seconds settleDelay{2};

    /// `lines` must outlive it. `transcripts` is the folder of Claude Code's projects, see openToolUse.
    AgentRecords(const TaskLines &lines, ProcessProbe processExists, QString transcripts)
        : m_lines(lines), m_processExists(std::move(processExists)), m_transcripts(std::move(transcripts))
    {
    }

    /// What the file of a record held and holds now.
    void updateRecord(const SessionRecord &before, const SessionRecord &now);
    [[nodiscard]] bool hasEnded(const QString &line) const; ///< It has a record, and no process exists any more.
    [[nodiscard]] pid_t process(const QString &line) const; ///< Of its record; 0 if there is none that lives.

    /// Keeps the open requests. To be called with each event, before `shouldIgnore`.
    void observe(const HookEvent &event);
    /// Whether the record has told the event already, or the event would end a request that is still open: its dialog
    /// was on the screen then, or the record is older than it. A later record makes up for an ignored event.
    [[nodiscard]] bool shouldIgnore(const HookEvent &event) const;
    /// The request whose dialog is open by the record: of several, the client shows the first until it is answered.
    [[nodiscard]] std::optional<HookEvent> requestOnScreen(const QString &line) const;

    /// To be called when a line or its record may have changed.
    void updateMismatch(const QString &line, const QDateTime &now);
    /// An event that never came, once line and record have differed for `settleDelay`: one for each state of a record.
    [[nodiscard]] std::optional<HookEvent> nextMissedEvent(const QDateTime &now);
    /// When the next one may be due; nothing where lines and records agree.
    [[nodiscard]] std::optional<QDateTime> nextMissedAt() const;

private:
    /// Compared as the record alone.
    struct KnownRecord : SessionRecord
    {
        QDateTime mismatchSince = {}; // null while the line says the same
        bool isReported = false;      // the mismatch: it is not reported again for this state of the record
    };
    struct Requests
    {
        QList<HookEvent> open;          // in the order in which they came
        bool areAnswered = false;       // a later record has said that no dialog is open
        bool isNewerThanRecord = false; // no record has come since the last one
    };

    [[nodiscard]] bool isAlone(const SessionRecord &record, const std::optional<AgentTask> &line) const;
    [[nodiscard]] std::optional<HookEvent> missedEvent(const SessionRecord &record, const QDateTime &now) const;
    template <typename Predicate>
    [[nodiscard]] const KnownRecord *find(const QString &line, Predicate isWanted) const;

    const TaskLines &m_lines;
    const ProcessProbe m_processExists;
    const QString m_transcripts;
    QMultiHash<QString, KnownRecord> m_records; // also those that an ended process has left
    QHash<QString, Requests> m_requests;
    QHash<QString, QString> m_toldTurns; // the answer of the last turn of Codex whose end the record has told
    QQueue<std::pair<QString, QDateTime>> m_unreported; // mismatches by their times, also those that have ended since
};
