#include "Plumtide/store/ClaudeSessions.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// Whether the request is no longer open: its tool has run, or the user has gone on, who cannot while it is.
bool isAnswered(const HookEvent &request, const HookEvent &event)
{
    return event.hookEventName == EventName::end || (event.hookEventName == EventName::prompt && event.prompt)
        || (event.hookEventName == EventName::tool && event.toolName == request.toolName
            && event.toolInputSummary() == request.toolInputSummary());
}

} // namespace

void ClaudeSessions::take(const SessionRecord &before, const SessionRecord &now)
{
    m_records.remove(before.sessionId, before);
    if (now.pid != 0)
        m_records.insert(now.sessionId, now);
}

bool ClaudeSessions::hasEnded(const QString &session) const
{
    const auto [begin, end] = m_records.equal_range(session);
    const auto exists = [this](const SessionRecord &record) { return m_processExists(record.pid, {}); };
    return begin != end && std::none_of(begin, end, exists);
}

pid_t ClaudeSessions::process(const QString &session) const
{
    return find(session, [](const SessionRecord &) { return true; }).value_or(SessionRecord()).pid;
}

bool ClaudeSessions::deny(const HookEvent &event)
{
    const QString session = event.sessionId.value_or(QString());
    if (event.hookEventName == EventName::request)
        m_requests.insert(session, event);
    else if (isAnswered(m_requests.value(session), event))
        m_requests.remove(session);
    const bool isTool = event.hookEventName == EventName::tool;
    if (!(isTool || event.hookEventName == EventName::stop || event.hookEventName == EventName::prompt))
        return false;
    const auto isOnScreen = [&](const SessionRecord &record) {
        // The one event at which the record still tells of a dialog that is gone.
        const bool isLate = isTool && event.toolName == "AskUserQuestion"_L1 && record.waitingFor == "input needed"_L1;
        // Events have whole seconds.
        const bool isPast = event.tavvelTs && *event.tavvelTs < std::floor(record.since / 1000);
        return record.status == "waiting"_L1 && !isLate && !isPast && lineOf(session).isUrgent();
    };
    return find(session, isOnScreen).has_value();
}

bool ClaudeSessions::differ(const QString &session, const QDateTime &now)
{
    const auto differs = [&](const SessionRecord &record) { return missedEvent(record, now).has_value(); };
    const std::optional<SessionRecord> record = find(session, differs);
    const auto doubt = m_doubts.constFind(session);
    if (record && (doubt == m_doubts.cend() || doubt->record != *record))
        m_doubts.insert(session, {*record, now});
    else if (!record && doubt != m_doubts.cend() && !doubt->isSettled)
        m_doubts.erase(doubt);
    return record && !m_doubts.value(session).isSettled;
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
            events.append(missedEvent(doubt.record, now).value_or(HookEvent()));
    }
    return events;
}

AgentTask ClaudeSessions::lineOf(const QString &session) const
{
    AgentTask none;
    none.status = AgentTaskStatus::done;
    return m_lines.lines().value(m_lines.placeOf("cc-"_L1 + session), none);
}

std::optional<HookEvent> ClaudeSessions::missedEvent(const SessionRecord &record, const QDateTime &now) const
{
    const AgentTask line = lineOf(record.sessionId);
    const bool isRunning = line.status == AgentTaskStatus::running;
    const bool isReply = line.status == AgentTaskStatus::waiting && !line.isUrgent();
    HookEvent event = m_requests.value(record.sessionId); // for its tool
    if (record.status == "waiting"_L1 && (isRunning || isReply))
        event.hookEventName = EventName::request;
    else if (record.status == "busy"_L1 && line.isUrgent())
        event.hookEventName = EventName::tool;
    else if ((record.status == "idle"_L1 || record.status == "shell"_L1) && (isRunning || line.isUrgent()))
        event.hookEventName = EventName::stop;
    else
        return std::nullopt;
    event.sessionId = record.sessionId;
    // When the record changed: the program may have been started long after that. No line grows older by it.
    const auto changed = static_cast<double>(line.updatedAt.toMSecsSinceEpoch());
    event.tavvelTs = qMin(qMax(record.since, changed), static_cast<double>(now.toMSecsSinceEpoch())) / 1000;
    return event;
}

template <typename Predicate>
std::optional<SessionRecord> ClaudeSessions::find(const QString &session, Predicate isWanted) const
{
    const auto [begin, end] = m_records.equal_range(session);
    const auto found = std::find_if(begin, end, [&](const SessionRecord &record) {
        return isWanted(record) && m_processExists(record.pid, record.processStart);
    });
    return found == end ? std::nullopt : std::optional(*found);
}
