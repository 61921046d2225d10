#pragma once

#include "Plumtide/intake/SessionFollower.h"
#include "Plumtide/store/Board.h"
#include "Plumtide/system/Environment.h"

#include <QMultiHash>

/// What Claude Code's records say of its sessions, and where that is something else than the board says: no event tells
/// of a key that refused a request, for one. A record counts only while its process lives.
/// Thread: the main thread.
class ClaudeSessions
{
public:
    /// For so long record and line must differ: an event and the record that belongs to it do not come at once.
    static constexpr std::chrono::seconds moment{2};

    /// `board` must outlive it.
    ClaudeSessions(const Board &board, ProcessProbe processExists)
        : m_board(board), m_processExists(std::move(processExists))
    {
    }

    /// What the file of a record held and holds now.
    void take(const std::optional<SessionRecord> &before, const std::optional<SessionRecord> &now);
    /// Those of `sessions` that have a record, and of which no process exists any more.
    [[nodiscard]] QSet<QString> ended(const QSet<QString> &sessions) const;
    /// Whether `event` would take away a request while the record says that it is still on the screen.
    [[nodiscard]] bool deny(const HookEvent &event) const;

    void compare(const QString &session, const QDateTime &now); ///< Its line or its record has changed.
    /// The events that would make line and record agree, where they have differed for a moment. Each record gives one.
    [[nodiscard]] QList<HookEvent> missedEvents(const QDateTime &now);
    [[nodiscard]] bool hasDoubts() const; ///< Whether there may be more in a moment.

private:
    /// A record that says something else than the line.
    struct Doubt
    {
        SessionRecord record;
        QDateTime from;
        bool isSettled = false; // nothing more is done until there is another record
    };

    template <typename Predicate>
    [[nodiscard]] std::optional<SessionRecord> find(const QString &session, Predicate isWanted) const;

    const Board &m_board;
    const ProcessProbe m_processExists;
    QMultiHash<QString, SessionRecord> m_records; // by session: also those that an ended process has left
    QHash<QString, Doubt> m_doubts;               // by session
};
