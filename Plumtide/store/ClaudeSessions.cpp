#include "Plumtide/store/ClaudeSessions.h"

#include "Plumtide/intake/Transcript.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// Takes out what is no longer open: the tool has run, or the user has gone on, who cannot while a dialog is up.
void takeAnswered(QList<HookEvent> &requests, const HookEvent &event)
{
    const auto isOfTool = [&event](const HookEvent &request) {
        return event.toolName == request.toolName && event.toolInputSummary() == request.toolInputSummary();
    };
    // The end of a subagent comes as a prompt, too.
    const bool isByUser =
        event.hookEventName == EventName::prompt && event.prompt && !event.prompt->startsWith("<task-notification>"_L1);
    if (isByUser || event.hookEventName == EventName::end)
        requests.clear();
    else if (const auto request = std::ranges::find_if(requests, isOfTool);
             event.hookEventName == EventName::tool && request != requests.end())
        requests.erase(request);
}

bool hasStatus(const SessionRecord &record)
{
    return !record.status.isEmpty();
}

} // namespace

void ClaudeSessions::take(const SessionRecord &before, const SessionRecord &now)
{
    m_records.remove(before.sessionId, before);
    if (now.pid != 0)
        m_records.insert(now.sessionId, now);
    if (m_doubts.value(before.sessionId).record == before)
        m_doubts.remove(before.sessionId);
    if (const auto requests = m_requests.find(now.sessionId); requests != m_requests.end()) {
        requests->isUnknown = false;
        requests->areAnswered = requests->areAnswered || now.status != "waiting"_L1;
    }
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
    if (event.hookEventName == EventName::request) {
        Requests &requests = m_requests[session];
        // Without a record nobody says which of several is on the screen.
        if (requests.areAnswered || !find(session, &hasStatus))
            requests = {};
        requests.open.append(event);
        requests.isUnknown = true;
    } else if (const auto requests = m_requests.find(session); requests != m_requests.end()) {
        takeAnswered(requests->open, event);
        if (requests->open.isEmpty())
            m_requests.erase(requests);
    }
    const bool isTool = event.hookEventName == EventName::tool;
    if (!(isTool || event.hookEventName == EventName::stop || event.hookEventName == EventName::prompt))
        return false;
    const bool isUnknown = m_requests.contains(session) && m_requests.value(session).isUnknown;
    const auto isOnScreen = [&](const SessionRecord &record) {
        // The one event at which the record still tells of a dialog that is gone.
        const bool isLate = isTool && event.toolName == "AskUserQuestion"_L1 && record.waitingFor == "input needed"_L1;
        // Events have whole seconds.
        const bool isPast = event.tavvelTs && *event.tavvelTs < std::floor(record.since / 1000);
        const bool isUp = record.status == "waiting"_L1 && !isLate && !isPast;
        return (isUp || (isUnknown && hasStatus(record))) && lineOf(session).isUrgent();
    };
    return find(session, isOnScreen).has_value();
}

std::optional<HookEvent> ClaudeSessions::requestOnScreen(const QString &session) const
{
    const Requests requests = m_requests.value(session);
    if (requests.open.isEmpty() || requests.areAnswered || !find(session, &hasStatus))
        return std::nullopt;
    return requests.open.first();
}

void ClaudeSessions::differ(const QString &session, const QDateTime &now)
{
    const auto differs = [&](const SessionRecord &record) { return missedEvent(record, now).has_value(); };
    const std::optional<SessionRecord> record = find(session, differs);
    const auto doubt = m_doubts.constFind(session);
    if (record && (doubt == m_doubts.cend() || doubt->record != *record)) {
        m_doubts.insert(session, {*record, now});
        m_unsettled.enqueue({session, now});
    } else if (!record && doubt != m_doubts.cend() && doubt->from.isValid()) {
        m_doubts.erase(doubt);
    }
}

std::optional<HookEvent> ClaudeSessions::nextMissedEvent(const QDateTime &now)
{
    while (!m_unsettled.isEmpty()) {
        const auto [session, from] = m_unsettled.head();
        if (from <= now && now < from.addDuration(moment)) // a clock that was set back ends the moment, too
            return std::nullopt;
        m_unsettled.dequeue();
        const auto doubt = m_doubts.find(session);
        if (doubt == m_doubts.end() || doubt->from != from)
            continue;
        doubt->from = {};
        const auto record = find(session, [&](const SessionRecord &known) { return known == doubt->record; });
        std::optional<HookEvent> event = record ? missedEvent(*record, now) : std::nullopt;
        if (!event)
            continue;
        Requests &requests = m_requests[session];
        if (event->hookEventName != EventName::request) {
            requests.areAnswered = true;
        } else if (const auto use = event->toolName ? std::nullopt : openToolUse(m_transcripts, session)) {
            event->toolName = use->toolName;
            event->toolInput = use->toolInput;
            requests = {{*event}};
        }
        return event;
    }
    return std::nullopt;
}

std::optional<QDateTime> ClaudeSessions::nextMissedAt() const
{
    return m_unsettled.isEmpty() ? std::nullopt : std::optional(m_unsettled.head().second.addDuration(moment));
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
    // The user's own menus are dialogs, too; between turns nothing else is.
    const bool isReply =
        line.status == AgentTaskStatus::waiting && !line.isUrgent() && record.waitingFor != "dialog open"_L1;
    const Requests requests = m_requests.value(record.sessionId);
    HookEvent event = requests.open.value(0); // for its tool
    if (record.status == "waiting"_L1 && (isRunning || isReply)) {
        if (requests.areAnswered)
            event = {};
        event.hookEventName = EventName::request;
    } else if (record.status == "busy"_L1 && line.isUrgent())
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
