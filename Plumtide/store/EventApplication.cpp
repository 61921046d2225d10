#include "Plumtide/store/TaskStore.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype titleLength = 36; // user-perceived characters
constexpr qsizetype replyLength = 40;
constexpr qsizetype shortestTitle = 5; // a shorter prompt ("go on") says nothing about the task
constexpr qsizetype mostRecentEvents = 3;

enum class Kind { Prompt, Permission, Tool, Stop, SessionEnd, SessionStart, CodexTurn, Other };

Kind kindOf(const QString &name)
{
    if (name == u"UserPromptSubmit"_s)
        return Kind::Prompt;
    if (name == u"PermissionRequest"_s)
        return Kind::Permission;
    if (name == u"PostToolUse"_s)
        return Kind::Tool;
    if (name == u"Stop"_s)
        return Kind::Stop;
    if (name == u"SessionEnd"_s)
        return Kind::SessionEnd;
    if (name == u"SessionStart"_s)
        return Kind::SessionStart;
    if (name == u"CodexTurnComplete"_s)
        return Kind::CodexTurn;
    return Kind::Other;
}

std::optional<QString> squeezed(const std::optional<QString> &text, qsizetype max)
{
    return text ? HookEvent::squeeze(*text, max) : std::nullopt;
}

std::optional<QString> promptTitle(const HookEvent &event)
{
    std::optional<QString> title = squeezed(event.prompt, titleLength);
    if (!title || title->startsWith(u"You are a helpful assistant"_s))
        return std::nullopt;
    // Counts characters, not code units: squeezing to one less cuts exactly those that are long enough.
    const bool isLongEnough = HookEvent::squeeze(*title, shortestTitle - 1) != title;
    return isLongEnough ? title : std::nullopt;
}

QString projectName(const std::optional<QString> &cwd)
{
    if (!cwd || cwd->isEmpty())
        return u"未知项目"_s;
    qsizetype end = cwd->size();
    while (end > 1 && cwd->at(end - 1) == u'/')
        --end;
    const QString path = cwd->first(end);
    return path == u"/"_s ? path : path.sliced(path.lastIndexOf(u'/') + 1);
}

// The tool and what it is asked to do: "Bash — npm install".
QString toolAndDetail(const HookEvent &event)
{
    const QString tool = event.toolName.value_or(u"工具调用"_s);
    const std::optional<QString> summary = event.toolInputSummary();
    return summary ? tool + u" — "_s + *summary : tool;
}

AgentTask newLine(const QString &id, const HookEvent &event, const QDateTime &at)
{
    const QString project = projectName(event.cwd);
    return {
        .id = id,
        .title = promptTitle(event).value_or(project),
        .project = project,
        .source = event.isCodex() ? TaskSource::codex : TaskSource::claude,
        .status = AgentTaskStatus::running,
        .purpose = {},
        .currentState = u"会话进行中"_s,
        .waitingReason = {},
        .needsApproval = {},
        .titleEdited = {},
        .tags = {},
        .recentEvents = {},
        .updatedAt = at,
    };
}

void followPromptTitle(AgentTask &line, const HookEvent &event)
{
    const std::optional<QString> title = promptTitle(event);
    if (title && !line.titleEdited.value_or(false))
        line.title = *title;
}

} // namespace

void TaskStore::apply(const HookEvent &event)
{
    if (!event.hookEventName)
        return;
    markEventSeen(event.isCodex() ? TaskSource::codex : TaskSource::claude);
    if (!event.sessionId)
        return;

    const Kind kind = kindOf(*event.hookEventName);
    const QString id = (event.isCodex() ? u"cx-"_s : u"cc-"_s) + *event.sessionId;
    const QDateTime at = event.date(now());
    const qsizetype index = indexOf(id);
    const bool isKnown = index >= 0;
    m_stuckNotified.remove(id);

    // Only a prompt, a request for approval or a Codex event puts a session on the board.
    if (!isKnown && kind != Kind::Prompt && kind != Kind::Permission && !event.isCodex())
        return;
    if (kind == Kind::SessionStart) {
        AgentTask line = m_tasks.at(index);
        addEvent(line, u"会话恢复"_s, at);
        replaceLine(index, std::move(line));
        return;
    }

    AgentTask line = isKnown ? m_tasks.at(index) : newLine(id, event, at);
    switch (kind) {
    case Kind::Prompt:
        line.status = AgentTaskStatus::running;
        line.currentState = u"正在处理你的请求"_s;
        line.waitingReason.reset();
        line.needsApproval.reset();
        followPromptTitle(line, event);
        addEvent(line, u"你说："_s + squeezed(event.prompt, titleLength).value_or(u"（空消息）"_s), at);
        break;
    case Kind::Permission: {
        const QString what = toolAndDetail(event);
        const bool wasWaitingForApproval = line.needsApproval.value_or(false);
        line.status = AgentTaskStatus::waiting;
        line.currentState = u"暂停中，等待你确认"_s;
        line.waitingReason = u"等你确认："_s + what;
        line.needsApproval = true;
        addEvent(line, u"请求审批 "_s + what, at);
        if (!wasWaitingForApproval)
            notify(line.project, u"有个操作需要你确认："_s + what, u"approval-"_s + id);
        break;
    }
    case Kind::Tool:
        line.status = AgentTaskStatus::running;
        line.currentState = u"正在处理："_s + event.toolName.value_or(u"工具调用"_s);
        line.waitingReason.reset();
        line.needsApproval.reset();
        break;
    case Kind::Stop:
        line.status = AgentTaskStatus::waiting;
        line.currentState = u"回复好了"_s;
        line.waitingReason = u"等你看一眼。"_s;
        line.needsApproval = false;
        break;
    case Kind::SessionEnd:
        line.status = AgentTaskStatus::done;
        line.waitingReason.reset();
        line.needsApproval.reset();
        addEvent(line, u"会话结束"_s, at);
        break;
    case Kind::CodexTurn:
        line.status = AgentTaskStatus::waiting;
        line.currentState = u"Codex 这轮做完了"_s;
        line.waitingReason = u"Codex 回复好了，等你看一眼。"_s;
        line.needsApproval = false;
        followPromptTitle(line, event);
        addEvent(line, u"Codex 回了："_s + squeezed(event.assistant, replyLength).value_or(u"（无内容）"_s), at);
        break;
    case Kind::SessionStart:
    case Kind::Other: return;
    }

    line.updatedAt = at;
    if (isKnown)
        replaceLine(index, std::move(line));
    else
        appendLine(std::move(line));
}

void TaskStore::addEvent(AgentTask &line, const QString &text, const QDateTime &at) const
{
    line.recentEvents.append(at.toLocalTime().toString(u"HH:mm") + u' ' + text);
    if (line.recentEvents.size() > mostRecentEvents)
        line.recentEvents.remove(0, line.recentEvents.size() - mostRecentEvents);
}
