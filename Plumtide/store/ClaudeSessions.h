#pragma once

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/intake/SessionFollower.h"
#include "Plumtide/store/TaskLines.h"
#include "Plumtide/system/Environment.h"

#include <QMultiHash>
#include <QQueue>

/// What Claude Code's records say of its sessions, and where the lines say something else: no event tells of a key that
/// refused a request, and the event of a subagent, or the end of its parent's turn, says nothing of a dialog that is
/// up. A record counts only while its process lives. Thread: the main thread.
class ClaudeSessions
{
public:
    /// For so long line and record must differ: an event and the record that belongs to it do not come at once.
    static constexpr std::chrono::seconds moment{2};

    /// `lines` must outlive it. `transcripts` is the folder of Claude Code's projects, see openToolUse.
    ClaudeSessions(const TaskLines &lines, ProcessProbe processExists, QString transcripts)
        : m_lines(lines), m_processExists(std::move(processExists)), m_transcripts(std::move(transcripts))
    {
    }

    /// What the file of a record held and holds now.
    void take(const SessionRecord &before, const SessionRecord &now);
    [[nodiscard]] bool hasEnded(const QString &session) const; ///< It has a record, and no process exists any more.
    [[nodiscard]] pid_t process(const QString &session) const; ///< Of its record; 0 when there is none that lives.

    /// Hears of each event. True where it is to be passed over, since it takes away a request of which the record says
    /// that it was still on the screen at that time, or of which the record cannot know yet: what the record says next
    /// makes up for it.
    [[nodiscard]] bool deny(const HookEvent &event);
    /// The request whose dialog is up: of several, the client shows the first until it is answered. Nothing where no
    /// record says so.
    [[nodiscard]] std::optional<HookEvent> requestOnScreen(const QString &session) const;
    /// To be called when the line or the record of `session` may have changed.
    void differ(const QString &session, const QDateTime &now);
    /// An event that never came, where line and record have differed for a moment: one for each state of a record.
    /// Nothing when there is no more of them now.
    [[nodiscard]] std::optional<HookEvent> nextMissedEvent(const QDateTime &now);
    /// When there may be one; nothing where lines and records agree.
    [[nodiscard]] std::optional<QDateTime> nextMissedAt() const;

private:
    /// A record that says something else than the line.
    struct Doubt
    {
        SessionRecord record;
        QDateTime from; // null once it is settled: nothing more is done until there is another record
    };

    struct Requests
    {
        QList<HookEvent> open;    // in the order in which they came
        bool areAnswered = false; // a record has said since that no dialog is up
        bool isUnknown = false;   // no record has come since the last one
    };

    [[nodiscard]] AgentTask lineOf(const QString &session) const; // where there is none, one that is done
    [[nodiscard]] std::optional<HookEvent> missedEvent(const SessionRecord &record, const QDateTime &now) const;
    template <typename Predicate>
    [[nodiscard]] std::optional<SessionRecord> find(const QString &session, Predicate isWanted) const;

    const TaskLines &m_lines;
    const ProcessProbe m_processExists;
    const QString m_transcripts;
    // By session:
    QMultiHash<QString, SessionRecord> m_records; // also those that an ended process has left
    QHash<QString, Requests> m_requests;
    QHash<QString, Doubt> m_doubts;
    QQueue<std::pair<QString, QDateTime>> m_unsettled; // doubts by their times; those that have another one are over
};
