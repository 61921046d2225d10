#include "Plumtide/store/AgentRecords.h"

#include "Plumtide/intake/Transcript.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype answerLength = 40; // in a record
constexpr auto questionTool = "AskUserQuestion"_L1;
constexpr auto permission = "permission prompt"_L1;
constexpr auto question = "input needed"_L1;

constexpr auto hasState = [](const SessionRecord &record) { return record.state != SessionState::unknown; };

} // namespace

void AgentRecords::updateRecord(const SessionRecord &before, const SessionRecord &now)
{
    m_records.remove(before.lineId(), {before});
    if (!now.sessionId.isEmpty())
        m_records.insert(now.lineId(), {now});
    if (const auto requests = m_requests.find(now.lineId()); requests != m_requests.end()) {
        requests->isNewerThanRecord = false;
        requests->areAnswered = requests->areAnswered || now.state != SessionState::asks;
    }
}

bool AgentRecords::hasEnded(const QString &line) const
{
    const auto [begin, end] = m_records.equal_range(line);
    const auto exists = [this](const SessionRecord &record) { return m_processExists(record.pid, {}); };
    return begin != end && std::none_of(begin, end, exists);
}

pid_t AgentRecords::process(const QString &line) const
{
    const KnownRecord *const record = find(line, [](const SessionRecord &) { return true; });
    return record ? record->pid : 0;
}

void AgentRecords::observe(const HookEvent &event)
{
    const QString line = event.lineId();
    if (event.hookEventName == EventName::request) {
        Requests &requests = m_requests[line];
        // Without a record nobody says which of several is on the screen.
        if (requests.areAnswered || !find(line, hasState))
            requests = {};
        requests.open.append(event);
        requests.isNewerThanRecord = true;
    } else if (const auto requests = m_requests.find(line); requests != m_requests.end()) {
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

bool AgentRecords::shouldIgnore(const HookEvent &event) const
{
    const bool isTool = event.hookEventName == EventName::tool,
               isCodexTurn = event.hookEventName == EventName::codexTurn;
    if (!isTool && !isCodexTurn && event.hookEventName != EventName::stop && event.hookEventName != EventName::prompt)
        return false;
    const QString id = event.lineId();
    const QString answer = HookEvent::squeeze(event.assistant.value_or(QString()), answerLength).value_or(QString());
    if (isCodexTurn && m_toldTurns.value(id, u"\n"_s) == answer)
        return true;
    const std::optional<AgentTask> line = m_lines.line(id);
    const bool isUrgent = line && line->isUrgent(), isNewerThanRecord = m_requests.value(id).isNewerThanRecord;
    return find(id, [&](const KnownRecord &record) {
        // The one event at which the record still tells of a dialog that is gone.
        const bool isLate = isTool && event.toolName == questionTool && record.waitingFor == question;
        // Events have whole seconds.
        const bool isPast = event.tavvelTs && *event.tavvelTs < std::floor(record.since / 1000);
        const bool isOpen = record.state == SessionState::asks && !isLate && !isPast;
        return isUrgent && (isOpen || (isNewerThanRecord && hasState(record)));
    });
}

std::optional<HookEvent> AgentRecords::requestOnScreen(const QString &line) const
{
    const KnownRecord *const record = find(line, hasState);
    const Requests requests = m_requests.value(line);
    if (!record || requests.areAnswered)
        return std::nullopt;
    const auto isOfDialog = [record](const HookEvent &request) {
        return record->state != SessionState::asks
            || record->waitingFor == (request.toolName == questionTool ? question : permission);
    };
    const auto first = std::ranges::find_if(requests.open, isOfDialog);
    return first == requests.open.end() ? std::nullopt : std::optional(*first);
}

void AgentRecords::updateMismatch(const QString &line, const QDateTime &now)
{
    for (auto [known, end] = m_records.equal_range(line); known != end; ++known) {
        const bool differs = missedEvent(*known, now).has_value();
        if (differs && known->mismatchSince.isNull()) {
            const bool isDue = isAlone(*known, m_lines.line(line));
            known->mismatchSince = isDue ? now.addDuration(-settleDelay) : now;
            m_unreported.insert(isDue ? 0 : m_unreported.size(), {line, known->mismatchSince});
        } else if (!differs && !known->isReported) {
            known->mismatchSince = {};
        }
    }
}

std::optional<HookEvent> AgentRecords::nextMissedEvent(const QDateTime &now)
{
    while (!m_unreported.isEmpty()) {
        const std::pair<QString, QDateTime> first = m_unreported.head();
        const auto &[line, since] = first;
        if (since <= now && now < since.addDuration(settleDelay)) // a clock that was set back ends the delay, too
            return std::nullopt;
        m_unreported.dequeue();
        const auto [begin, end] = m_records.equal_range(line);
        const auto record = std::find_if(begin, end, [&first](const KnownRecord &known) {
            return !known.isReported && known.mismatchSince == first.second;
        });
        std::optional<HookEvent> event = record == end ? std::nullopt : missedEvent(*record, now);
        if (!event)
            continue;
        record->isReported = true;
        if (record->state == SessionState::turnEnded)
            m_toldTurns.insert(line, record->answer);
        const bool needsTool = !event->toolName && record->waitingFor == permission;
        if (event->hookEventName != EventName::request) {
            m_requests.remove(line);
        } else if (const auto use =
                       needsTool ? openToolUse(m_transcripts, event->sessionId.value_or(QString())) : std::nullopt) {
            event->toolName = use->toolName;
            event->toolInput = use->toolInput;
            m_requests.insert(line, {{*event}});
        }
        return event;
    }
    return std::nullopt;
}

std::optional<QDateTime> AgentRecords::nextMissedAt() const
{
    return m_unreported.isEmpty() ? std::nullopt : std::optional(m_unreported.head().second.addDuration(settleDelay));
}

// Whether no event of the log can be on its way: Codex reports nothing but the end of a turn.
bool AgentRecords::isAlone(const SessionRecord &record, const std::optional<AgentTask> &line) const
{
    if (record.agent != TaskSource::codex || record.state == SessionState::asks
        || record.state == SessionState::turnEnded)
        return false;
    if (record.state == SessionState::gone)
        return !m_processExists(record.pid, record.processStart);
    // The record may be late, and still tell of the turn that an event has ended. Events have whole seconds.
    const bool isInTurn = line && (line->status == AgentTaskStatus::running || line->isUrgent());
    const auto changed = line ? static_cast<double>(line->updatedAt.toSecsSinceEpoch()) : 0;
    return isInTurn || (!record.prompt.isEmpty() && changed < std::floor(record.since / 1000));
}

std::optional<HookEvent> AgentRecords::missedEvent(const SessionRecord &record, const QDateTime &now) const
{
    const bool isCodex = record.agent == TaskSource::codex, isGone = record.state == SessionState::gone;
    const std::optional<AgentTask> line = m_lines.line(record.lineId());
    const bool isRunning = line && line->status == AgentTaskStatus::running;
    const bool isUrgent = line && line->isUrgent();
    // Between turns the only dialogs are the user's own menus.
    const bool isReply =
        line && line->status == AgentTaskStatus::waiting && !isUrgent && record.waitingFor != "dialog open"_L1;
    // When the record changed: the program may have been started long after that. No line grows older by it.
    const auto changed = line ? static_cast<double>(qMin(line->updatedAt, now).toMSecsSinceEpoch()) : 0;
    double at = qMin(qMax(record.since, changed), static_cast<double>(now.toMSecsSinceEpoch()));
    // A turn of Codex may begin in the second of the event that has ended the one before.
    const bool isNewTurn = isCodex && !isRunning && !isUrgent && record.turnSince + 2000 > changed;
    HookEvent event; // with the tool that a request has named
    if (record.state == SessionState::asks && (isRunning || isReply || isNewTurn)) {
        event = requestOnScreen(record.lineId()).value_or(HookEvent());
        event.hookEventName = EventName::request;
    } else if (record.state == SessionState::works && isUrgent) {
        event = m_requests.value(record.lineId()).open.value(0);
        event.hookEventName = EventName::tool;
        at = isCodex ? static_cast<double>(now.toMSecsSinceEpoch()) : at; // no record says when Codex was answered
    } else if (record.state == SessionState::works && isNewTurn && (line || !record.prompt.isEmpty())) {
        event.hookEventName = record.prompt.isEmpty() ? EventName::tool : EventName::prompt;
    } else if (record.state == SessionState::works && isCodex && isRunning && record.since > changed + 60'000) {
        event.hookEventName = EventName::tool;
    } else if (record.state > SessionState::asks && (isRunning || isUrgent)) {
        const bool isTurn =
            record.state == SessionState::turnEnded && !record.answer.isEmpty() && record.since >= changed;
        event.hookEventName = isGone ? EventName::end : isTurn ? EventName::codexTurn : EventName::stop;
    }
    if (!event.hookEventName || (!isGone && !m_processExists(record.pid, record.processStart)))
        return std::nullopt;
    event.sessionId = record.sessionId;
    event.tavvelTs = at / 1000;
    if (isCodex) {
        event.isByCodexRecord = true;
        event.cwd = record.cwd;
        event.prompt = record.prompt;
        event.assistant = record.answer;
        event.toolName = record.tool.isEmpty() ? std::nullopt : std::optional(record.tool);
        event.toolInput = {{"command"_L1, record.toolInput}};
    }
    return event;
}

template <typename Predicate>
const AgentRecords::KnownRecord *AgentRecords::find(const QString &line, Predicate isWanted) const
{
    const auto [begin, end] = m_records.equal_range(line);
    const auto found = std::find_if(begin, end, [&](const KnownRecord &record) {
        return isWanted(record) && record.state != SessionState::gone
            && m_processExists(record.pid, record.processStart);
    });
    return found == end ? nullptr : &*found;
}
