#include "Plumtide/store/ClaudeSessions.h"

#include "Plumtide/intake/Transcript.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr auto questionTool = "AskUserQuestion"_L1;
// What a record waits for.
constexpr auto permission = "permission prompt"_L1;
constexpr auto question = "input needed"_L1;

constexpr auto hasStatus = [](const SessionRecord &record) { return !record.status.isEmpty(); };

} // namespace

void ClaudeSessions::updateRecord(const SessionRecord &before, const SessionRecord &now)
{
    m_records.remove(before.sessionId, {before});
    if (now.pid != 0)
        m_records.insert(now.sessionId, {now});
    if (const auto requests = m_requests.find(now.sessionId); requests != m_requests.end()) {
        requests->isNewerThanRecord = false;
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
    const KnownRecord *const record = find(session, [](const SessionRecord &) { return true; });
    return record ? record->pid : 0;
}

void ClaudeSessions::observe(const HookEvent &event)
{
    const QString session = event.sessionId.value_or(QString());
    if (event.hookEventName == EventName::request) {
        Requests &requests = m_requests[session];
        // Without a record nobody says which of several is on the screen.
        if (requests.areAnswered || !find(session, hasStatus))
            requests = {};
        requests.open.append(event);
        requests.isNewerThanRecord = true;
    } else if (const auto requests = m_requests.find(session); requests != m_requests.end()) {
        const auto isOfTool = [&event](const HookEvent &request) {
            return event.toolName == request.toolName && event.toolInputSummary() == request.toolInputSummary();
        };
        QList<HookEvent> &open = requests->open;
        const auto answered = std::ranges::find_if(open, isOfTool);
        if (event.hookEventName == EventName::tool && answered != open.end())
            open.erase(answered);
        // The user cannot prompt while a dialog is open. The end of a subagent comes as a prompt, too.
        const bool isByUser = event.hookEventName == EventName::prompt && event.prompt
            && !event.prompt->startsWith("<task-notification>"_L1);
        if (open.isEmpty() || isByUser || event.hookEventName == EventName::end)
            m_requests.erase(requests);
    }
}

bool ClaudeSessions::shouldIgnore(const HookEvent &event) const
{
    const QString session = event.sessionId.value_or(QString());
    const std::optional<AgentTask> line = m_lines.line(AgentTask::idOf(TaskSource::claude, session));
    const bool isTool = event.hookEventName == EventName::tool;
    if (!(isTool || event.hookEventName == EventName::stop || event.hookEventName == EventName::prompt) || !line
        || !line->isUrgent())
        return false;
    const bool isNewerThanRecord = m_requests.value(session).isNewerThanRecord;
    return find(session, [&](const SessionRecord &record) {
        // The one event at which the record still tells of a dialog that is gone.
        const bool isLate = isTool && event.toolName == questionTool && record.waitingFor == question;
        // Events have whole seconds.
        const bool isPast = event.tavvelTs && *event.tavvelTs < std::floor(record.since / 1000);
        return (record.status == "waiting"_L1 && !isLate && !isPast) || (isNewerThanRecord && hasStatus(record));
    });
}

std::optional<HookEvent> ClaudeSessions::requestOnScreen(const QString &session) const
{
    const KnownRecord *const record = find(session, hasStatus);
    const Requests requests = m_requests.value(session);
    if (!record || requests.areAnswered)
        return std::nullopt;
    const auto isOfDialog = [record](const HookEvent &request) {
        return record->status != "waiting"_L1
            || record->waitingFor == (request.toolName == questionTool ? question : permission);
    };
    const auto first = std::ranges::find_if(requests.open, isOfDialog);
    return first == requests.open.end() ? std::nullopt : std::optional(*first);
}

void ClaudeSessions::updateMismatch(const QString &session, const QDateTime &now)
{
    for (auto [known, end] = m_records.equal_range(session); known != end; ++known) {
        const bool differs = missedEvent(*known, now).has_value();
        if (differs && known->mismatchSince.isNull()) {
            known->mismatchSince = now;
            m_unreported.enqueue({session, now});
        } else if (!differs && !known->isReported) {
            known->mismatchSince = {};
        }
    }
}

std::optional<HookEvent> ClaudeSessions::nextMissedEvent(const QDateTime &now)
{
    while (!m_unreported.isEmpty()) {
        const std::pair<QString, QDateTime> first = m_unreported.head();
        const auto &[session, since] = first;
        if (since <= now && now < since.addDuration(settleDelay)) // a clock that was set back ends the delay, too
            return std::nullopt;
        m_unreported.dequeue();
        const auto [begin, end] = m_records.equal_range(session);
        const auto record = std::find_if(begin, end, [&first](const KnownRecord &known) {
            return !known.isReported && known.mismatchSince == first.second;
        });
        std::optional<HookEvent> event = record == end ? std::nullopt : missedEvent(*record, now);
        if (!event)
            continue;
        record->isReported = true;
        const bool needsTool = !event->toolName && record->waitingFor == permission;
        if (event->hookEventName != EventName::request) {
            m_requests.remove(session);
        } else if (const auto use = needsTool ? openToolUse(m_transcripts, session) : std::nullopt) {
            event->toolName = use->toolName;
            event->toolInput = use->toolInput;
            m_requests.insert(session, {{*event}});
        }
        return event;
    }
    return std::nullopt;
}

std::optional<QDateTime> ClaudeSessions::nextMissedAt() const
{
    return m_unreported.isEmpty() ? std::nullopt : std::optional(m_unreported.head().second.addDuration(settleDelay));
}

std::optional<HookEvent> ClaudeSessions::missedEvent(const SessionRecord &record, const QDateTime &now) const
{
    const std::optional<AgentTask> line = m_lines.line(AgentTask::idOf(TaskSource::claude, record.sessionId));
    const bool isRunning = line && line->status == AgentTaskStatus::running;
    const bool isUrgent = line && line->isUrgent();
    // Between turns the only dialogs are the user's own menus.
    const bool isReply =
        line && line->status == AgentTaskStatus::waiting && !isUrgent && record.waitingFor != "dialog open"_L1;
    HookEvent event; // with the tool that a request has named
    if (record.status == "waiting"_L1 && (isRunning || isReply)) {
        event = requestOnScreen(record.sessionId).value_or(HookEvent());
        event.hookEventName = EventName::request;
    } else if (record.status == "busy"_L1 && isUrgent) {
        event = m_requests.value(record.sessionId).open.value(0);
        event.hookEventName = EventName::tool;
    } else if ((record.status == "idle"_L1 || record.status == "shell"_L1) && (isRunning || isUrgent)) {
        event.hookEventName = EventName::stop;
    }
    if (!event.hookEventName || !m_processExists(record.pid, record.processStart))
        return std::nullopt;
    event.sessionId = record.sessionId;
    // When the record changed: the program may have been started long after that. No line grows older by it.
    const auto changed = static_cast<double>(line->updatedAt.toMSecsSinceEpoch());
    event.tavvelTs = qMin(qMax(record.since, changed), static_cast<double>(now.toMSecsSinceEpoch())) / 1000;
    return event;
}

template <typename Predicate>
const ClaudeSessions::KnownRecord *ClaudeSessions::find(const QString &session, Predicate isWanted) const
{
    const auto [begin, end] = m_records.equal_range(session);
    const auto found = std::find_if(begin, end, [&](const SessionRecord &record) {
        return isWanted(record) && m_processExists(record.pid, record.processStart);
    });
    return found == end ? nullptr : &*found;
}
