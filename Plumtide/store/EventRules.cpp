#include "Plumtide/store/EventRules.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype titleLength = 36; // user-perceived characters
constexpr qsizetype replyLength = 40;
constexpr qsizetype shortestTitle = 5; // a shorter prompt ("go on") says nothing about the task
constexpr qsizetype mostRecentEvents = 3;

constexpr auto promptName = "UserPromptSubmit"_L1;
constexpr auto requestName = "PermissionRequest"_L1;

std::optional<QString> squeezed(const std::optional<QString> &text, qsizetype max)
{
    return text ? HookEvent::squeeze(*text, max) : std::nullopt;
}

std::optional<QString> promptTitle(const HookEvent &event)
{
    std::optional<QString> title = squeezed(event.prompt, titleLength);
    if (!title || title->startsWith("You are a helpful assistant"_L1))
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

AgentTask newLine(const HookEvent &event)
{
    AgentTask line;
    line.id = lineIdOf(event);
    line.project = projectName(event.cwd);
    line.title = promptTitle(event).value_or(line.project);
    line.source = event.isCodex() ? TaskSource::codex : TaskSource::claude;
    return line;
}

} // namespace

QString lineIdOf(const HookEvent &event)
{
    return (event.isCodex() ? u"cx-"_s : u"cc-"_s) + *event.sessionId;
}

std::optional<EventEffect> effectOf(const HookEvent &event, const AgentTask *known, const QDateTime &now)
{
    const QString &name = *event.hookEventName;
    // Only a prompt, a request for approval or a Codex event puts a session on the board.
    if (!known && name != promptName && name != requestName && !event.isCodex())
        return std::nullopt;

    EventEffect effect{known ? *known : newLine(event), std::nullopt};
    AgentTask &line = effect.line;
    const QDateTime at = event.date(now);
    const QString tool = event.toolName.value_or(u"工具调用"_s);
    const auto become = [&line](AgentTaskStatus status, const QString &state, const std::optional<QString> &reason,
                                std::optional<bool> needsApproval) {
        line.status = status;
        line.currentState = state;
        line.waitingReason = reason;
        line.needsApproval = needsApproval;
    };
    const auto followPrompt = [&] {
        if (!line.titleEdited.value_or(false))
            line.title = promptTitle(event).value_or(line.title);
    };

    if (name == "SessionStart"_L1) {
        addEvent(line, u"会话恢复"_s, at);
        return effect; // nothing was done in it yet, so `updatedAt` stays
    }
    if (name == promptName) {
        become(AgentTaskStatus::running, u"正在处理你的请求"_s, {}, {});
        followPrompt();
        addEvent(line, u"你说："_s + squeezed(event.prompt, titleLength).value_or(u"（空消息）"_s), at);
    } else if (name == requestName) {
        const std::optional<QString> detail = event.toolInputSummary();
        const QString what = detail ? tool + u" — "_s + *detail : tool;
        if (!line.needsApproval.value_or(false))
            effect.notice = {line.project, u"有个操作需要你确认："_s + what, u"approval-"_s + line.id};
        become(AgentTaskStatus::waiting, u"暂停中，等待你确认"_s, u"等你确认："_s + what, true);
        addEvent(line, u"请求审批 "_s + what, at);
    } else if (name == "PostToolUse"_L1) {
        become(AgentTaskStatus::running, u"正在处理："_s + tool, {}, {});
    } else if (name == "Stop"_L1) {
        become(AgentTaskStatus::waiting, u"回复好了"_s, u"等你看一眼。"_s, false);
    } else if (name == "SessionEnd"_L1) {
        become(AgentTaskStatus::done, line.currentState, {}, {});
        addEvent(line, u"会话结束"_s, at);
    } else if (name == "CodexTurnComplete"_L1) {
        become(AgentTaskStatus::waiting, u"Codex 这轮做完了"_s, u"Codex 回复好了，等你看一眼。"_s, false);
        followPrompt();
        addEvent(line, u"Codex 回了："_s + squeezed(event.assistant, replyLength).value_or(u"（无内容）"_s), at);
    } else {
        return std::nullopt;
    }
    line.updatedAt = at;
    return effect;
}

void addEvent(AgentTask &line, const QString &text, const QDateTime &at)
{
    // A list of its own: one that grows at its end and is cut at its front would never give back its memory.
    QList<QString> kept = line.recentEvents.last(qMin(line.recentEvents.size(), mostRecentEvents - 1));
    kept.append(at.toLocalTime().toString(u"HH:mm") + u' ' + text);
    line.recentEvents = std::move(kept);
}
