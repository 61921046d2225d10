#include "Plumtide/store/ClaudeSessions.h"

#include <algorithm>

template <typename Predicate>
std::optional<SessionRecord> ClaudeSessions::find(const QString &session, Predicate isWanted) const
{
    const auto [begin, end] = m_records.equal_range(session);
    const auto found = std::find_if(begin, end, [&](const SessionRecord &record) {
        return isWanted(record) && m_processExists(record.pid, record.processStart);
    });
    return found == end ? std::nullopt : std::optional(*found);
}

void ClaudeSessions::take(const std::optional<SessionRecord> &before, const std::optional<SessionRecord> &now)
{
    if (before)
        m_records.remove(before->sessionId, *before);
    if (now)
        m_records.insert(now->sessionId, *now);
}

QSet<QString> ClaudeSessions::ended(const QSet<QString> &sessions) const
{
    QSet<QString> ended;
    for (const QString &session : sessions) {
        const auto [begin, end] = m_records.equal_range(session);
        const auto exists = [this](const SessionRecord &record) { return m_processExists(record.pid, {}); };
        if (begin != end && std::none_of(begin, end, exists))
            ended.insert(session);
    }
    return ended;
}

bool ClaudeSessions::deny(const HookEvent &event) const
{
    const auto denies = [&](const SessionRecord &record) { return m_board.isDenied(event, record); };
    return event.sessionId && find(*event.sessionId, denies);
}

void ClaudeSessions::compare(const QString &session, const QDateTime &now)
{
    const auto differs = [&](const SessionRecord &record) { return m_board.missedEvent(record, now).has_value(); };
    const std::optional<SessionRecord> record = find(session, differs);
    const auto doubt = m_doubts.constFind(session);
    if (record && (doubt == m_doubts.cend() || doubt->record != *record))
        m_doubts.insert(session, {*record, now});
    else if (!record && doubt != m_doubts.cend() && !doubt->isSettled)
        m_doubts.erase(doubt);
}

QList<HookEvent> ClaudeSessions::missedEvents(const QDateTime &now)
{
    QList<HookEvent> events;
    for (Doubt &doubt : m_doubts) {
        // A clock that was set back ends the moment, too.
        const bool isFresh = doubt.from <= now && now < doubt.from.addDuration(moment);
        if (doubt.isSettled || isFresh)
            continue;
        doubt.isSettled = true;
        if (find(doubt.record.sessionId, [&](const SessionRecord &record) { return record == doubt.record; }))
            events.append(m_board.missedEvent(doubt.record, now).value_or(HookEvent()));
    }
    return events;
}

bool ClaudeSessions::hasDoubts() const
{
    return std::any_of(m_doubts.cbegin(), m_doubts.cend(), [](const Doubt &doubt) { return !doubt.isSettled; });
}
