#include "Plumtide/store/Board.h"

using namespace Qt::StringLiterals;
using Kind = Board::Notice::Kind;

namespace {

constexpr qsizetype titleLength = 36; // user-perceived characters
constexpr qsizetype replyLength = 40;
constexpr qsizetype shortestTitle = 5; // a shorter prompt ("go on") says nothing about the task
constexpr qsizetype mostRecentEvents = 3;
const QString asking = u"等你确认："_s; // and what is to be done

// Seconds since a line's last change.
constexpr qint64 livenessAge = 300;  // a session must be this quiet before its process is looked for
constexpr qint64 idleAge = 7200;     // a running line that is silent for longer is closed
constexpr qint64 purgeAge = 604'800; // a finished line is dropped after seven days

std::optional<QString> squeezed(const std::optional<QString> &text, qsizetype max)
{
    return HookEvent::squeeze(text.value_or(QString()), max);
}

std::optional<QString> promptTitle(const HookEvent &event)
{
    std::optional<QString> title = squeezed(event.prompt, titleLength);
    if (!title || title->startsWith("You are a helpful assistant"_L1))
        return std::nullopt;
    // In user-perceived characters: only a title of at least this length is cut by one less.
    const bool isLongEnough = HookEvent::squeeze(*title, shortestTitle - 1) != title;
    return isLongEnough ? title : std::nullopt;
}

QString projectName(const QString &cwd)
{
    const QString name = cwd.section(u'/', -1, -1, QString::SectionSkipEmpty);
    return cwd.isEmpty() ? u"未知项目"_s : name.isEmpty() ? u"/"_s : name;
}

AgentTask newLine(const QString &id, const HookEvent &event)
{
    AgentTask line;
    line.id = id;
    line.project = projectName(event.cwd.value_or(QString()));
    line.title = promptTitle(event).value_or(line.project);
    line.source = line.agent().value_or(TaskSource::other);
    return line;
}

// The tool, and what it is to do.
QString described(const HookEvent &event)
{
    const QString tool = event.toolName.value_or(u"工具调用"_s);
    const std::optional<QString> detail = event.toolInputSummary();
    return detail ? tool + u" — "_s + *detail : tool;
}

// Adds "HH:MM text", in the user's time zone.
void addEvent(AgentTask &line, const QString &text, const QDateTime &at)
{
    // A new list: one that is appended to and cut at its front never gives back its memory.
    line.recentEvents = line.recentEvents.last(qMin(line.recentEvents.size(), mostRecentEvents - 1))
        << at.toLocalTime().toString(u"HH:mm") + u' ' + text;
}

// Applies an event to its session's line. False if it changes nothing.
bool change(AgentTask &line, const HookEvent &event, const QDateTime &now, QList<Board::Notice> &notices)
{
    const QString &name = *event.hookEventName;
    const QDateTime at = event.date(now);
    const auto become = [&line](AgentTaskStatus status, const QString &state, const std::optional<QString> &reason,
                                std::optional<bool> needsApproval) {
        line.status = status;
        line.currentState = state;
        line.waitingReason = reason;
        line.needsApproval = needsApproval;
    };
    const bool hasPrompt = name == EventName::prompt || name == EventName::codexTurn;
    if (hasPrompt && !line.titleEdited.value_or(false))
        line.title = promptTitle(event).value_or(line.title);

    if (name == "SessionStart"_L1) {
        addEvent(line, u"会话恢复"_s, at);
        return true; // nothing was done in it yet, so `updatedAt` stays
    }
    if (name == EventName::prompt) {
        become(AgentTaskStatus::running, u"正在处理你的请求"_s, {}, {});
        addEvent(line, u"你说："_s + squeezed(event.prompt, titleLength).value_or(u"（空消息）"_s), at);
    } else if (name == EventName::request) {
        const QString what = described(event);
        const bool wasAsking = line.needsApproval.value_or(false);
        become(AgentTaskStatus::waiting, u"暂停中，等待你确认"_s, asking + what, true);
        if (!wasAsking)
            notices.append(Board::approvalOf(line));
        addEvent(line, u"请求审批 "_s + what, at);
    } else if (name == EventName::tool) {
        become(AgentTaskStatus::running, u"正在处理："_s + event.toolName.value_or(u"工具调用"_s), {}, {});
    } else if (name == EventName::stop) {
        become(AgentTaskStatus::waiting, u"回复好了"_s, u"等你看一眼。"_s, false);
        notices.append({Kind::replied, line.id, line.project, u"回复好了："_s + line.title});
    } else if (name == EventName::end) {
        become(AgentTaskStatus::done, line.currentState, {}, {});
        addEvent(line, u"会话结束"_s, at);
    } else if (name == EventName::codexTurn) {
        become(AgentTaskStatus::waiting, u"Codex 这轮做完了"_s, u"Codex 回复好了，等你看一眼。"_s, false);
        notices.append({Kind::replied, line.id, line.project, u"回复好了："_s + line.title});
        addEvent(line, u"Codex 回了："_s + squeezed(event.assistant, replyLength).value_or(u"（无内容）"_s), at);
    } else {
        return false;
    }
    line.updatedAt = at;
    return true;
}

} // namespace

Board::Notice Board::approvalOf(const AgentTask &line)
{
    const QString reason = line.waitingReason.value_or(QString());
    const QString what = reason.startsWith(asking) ? reason.sliced(asking.size()) : reason; // the user may edit it
    return {Kind::approval, line.id, line.project, u"有个操作需要你确认："_s + what};
}

Board::Changes Board::apply(const HookEvent &event, const QDateTime &now)
{
    if (!event.hookEventName || !event.sessionId)
        return {};
    const QString id = event.lineId();
    m_stuckNotified.remove(id);
    const qsizetype index = indexOf(id);
    const bool isKnown = index < lines().size();
    // Only a prompt, a request for approval or a Codex event puts a session on the board.
    if (!isKnown && event.hookEventName != EventName::prompt && event.hookEventName != EventName::request
        && !event.isCodex())
        return {};
    Changes changes;
    AgentTask line = isKnown ? lines().at(index) : newLine(id, event);
    if (change(line, event, now, changes.notices))
        changes.edits.append({index, std::move(line)});
    if (event.hookEventName == EventName::end)
        changes.ended.append(id);
    return changes;
}

Board::Changes Board::showRequest(const HookEvent &request) const
{
    const qsizetype index = indexOf(request.lineId());
    AgentTask line = lines().value(index);
    const std::optional<QString> before = std::exchange(line.waitingReason, asking + described(request));
    if (!line.needsApproval.value_or(false) || line.waitingReason == before)
        return {};
    return {{}, {{index, std::move(line)}}};
}

Board::Changes Board::sweep(const QDateTime &now, const std::function<bool(const QString &line)> &hasEnded)
{
    Changes changes;
    for (qsizetype index = 0; index < lines().size(); ++index) {
        const AgentTask &line = lines().at(index);
        if (line.isStuck(now) && !m_stuckNotified.contains(line.id)) {
            m_stuckNotified.insert(line.id);
            changes.notices.append(
                {Kind::stuck, line.id, line.project, u"有个会话 30 分钟没动静了，可能卡住了，去看一眼。"_s});
        }
        const bool isOpen = line.status == AgentTaskStatus::waiting || line.status == AgentTaskStatus::running;
        const bool isQuiet = isOpen && isOlderThan(line.updatedAt, livenessAge, now);
        QString reason;
        if (isQuiet && line.agent() == TaskSource::claude && hasEnded(line.id))
            reason = u"会话已关闭"_s;
        else if (line.isStuck(now) && isOlderThan(line.updatedAt, idleAge, now))
            reason = u"长时间无动静，判定会话已结束"_s;
        else
            continue;
        // `updatedAt` stays: the days until the line is dropped count from its last event.
        AgentTask closed = line;
        closed.status = AgentTaskStatus::done;
        changes.edits.append({index, closed});
        changes.ended.append(line.id);
        addEvent(closed, reason, now);
        changes.edits.append({index, std::move(closed)});
    }
    return changes;
}

QList<AgentTask> Board::linesToKeep(const QDateTime &now) const
{
    QList<AgentTask> kept = lines();
    kept.removeIf([&now](const AgentTask &line) {
        return line.status == AgentTaskStatus::done && isOlderThan(line.updatedAt, purgeAge, now);
    });
    return kept;
}

Board::Changes Board::upsert(AgentTask line, const QDateTime &now) const
{
    line.updatedAt = now;
    return {{}, {{indexOf(line.id), storable(line, now)}}};
}

Board::Changes Board::setStatus(const QStringList &ids, AgentTaskStatus status, const QDateTime &now)
{
    Changes changes;
    UndoStep step;
    for (const QString &id : ids) {
        const qsizetype index = indexOf(id);
        if (index == lines().size())
            continue;
        AgentTask set = lines().at(index);
        set.status = status;
        AgentTask dated = set;
        dated.updatedAt = now;
        step.append({lines().at(index), dated});
        changes.edits << Edit{index, std::move(set)} << Edit{index, std::move(dated)};
    }
    if (!step.isEmpty() && (status == AgentTaskStatus::shelved || status == AgentTaskStatus::done))
        m_undoSteps = m_undoSteps.last(qMin(m_undoSteps.size(), mostUndoSteps - 1)) << step;
    return changes;
}

Board::Changes Board::undo()
{
    Changes changes;
    while (!m_undoSteps.isEmpty() && changes.edits.isEmpty()) {
        const UndoStep step = m_undoSteps.takeLast();
        for (const auto &[before, after] : step) {
            const qsizetype index = indexOf(after.id);
            if (index < lines().size() && lines().at(index) == after)
                changes.edits.append({index, before});
        }
    }
    return changes;
}
