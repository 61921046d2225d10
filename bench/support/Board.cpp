#include "bench/support/Board.h"

#include "bench/support/EventMix.h"

using namespace Qt::StringLiterals;

QString SampleBoard::sessionId(qsizetype index)
{
    return EventMix::sessionId(index);
}

QList<AgentTask> SampleBoard::lines(qsizetype count, const QDateTime &now, qsizetype projects)
{
    QList<AgentTask> result;
    for (qsizetype i = 0; i < count; ++i) {
        const bool isRunning = i % 3 == 0;
        result.append({
            .id = u"cc-"_s + sessionId(i),
            .title = u"登录页的报错改成中文 %1"_s.arg(i),
            .project = u"shop-%1"_s.arg(i % projects),
            .source = TaskSource::claude,
            .status = isRunning ? AgentTaskStatus::running : AgentTaskStatus::waiting,
            .purpose = {},
            .currentState = isRunning ? u"正在处理：Bash"_s : u"回复好了"_s,
            .waitingReason = isRunning ? std::nullopt : std::optional(u"等你看一眼。"_s),
            .needsApproval = isRunning ? std::nullopt : std::optional(false),
            .titleEdited = {},
            .tags = {},
            .recentEvents = {u"09:41 你说：登录页的报错改成中文"_s, u"09:43 请求审批 Bash — npm test"_s},
            .updatedAt = now.addSecs(-60 - (i * 17) % 1500),
        });
    }
    return result;
}
