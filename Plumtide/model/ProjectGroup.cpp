#include "Plumtide/model/ProjectGroup.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

bool isFreshWaiting(const AgentTask &line, const QDateTime &now)
{
    return line.status == AgentTaskStatus::waiting && !line.isUrgent() && !line.isFaded(now);
}

template <typename Predicate>
QList<AgentTask> linesWhere(const QList<AgentTask> &lines, Predicate predicate)
{
    QList<AgentTask> result;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(result), predicate);
    return result;
}

} // namespace

QString label(ProjectSection section)
{
    switch (section) {
    case ProjectSection::pending: return u"待处理"_s;
    case ProjectSection::inProgress: return u"进行中"_s;
    case ProjectSection::quiet: return u"暂无更新"_s;
    }
    Q_UNREACHABLE();
}

QList<AgentTask> ProjectGroup::urgentLines() const
{
    return linesWhere(lines, [](const AgentTask &line) { return line.isUrgent(); });
}

QList<AgentTask> ProjectGroup::freshWaitingLines(const QDateTime &now) const
{
    return linesWhere(lines, [&now](const AgentTask &line) { return isFreshWaiting(line, now); });
}

QList<AgentTask> ProjectGroup::runningLines() const
{
    return linesWhere(lines, [](const AgentTask &line) { return line.status == AgentTaskStatus::running; });
}

QList<AgentTask> ProjectGroup::quietLines(const QDateTime &now) const
{
    return linesWhere(lines, [&now](const AgentTask &line) {
        return line.status == AgentTaskStatus::shelved || line.isFaded(now);
    });
}

ProjectSection ProjectGroup::section(const QDateTime &now) const
{
    const bool hasPending = std::any_of(lines.begin(), lines.end(), [&now](const AgentTask &line) {
        return line.isUrgent() || isFreshWaiting(line, now);
    });
    if (hasPending)
        return ProjectSection::pending;
    return runningLines().isEmpty() ? ProjectSection::quiet : ProjectSection::inProgress;
}

QString ProjectGroup::summaryText(const QDateTime &now) const
{
    QStringList parts;
    const auto add = [&parts](qsizetype count, const QString &suffix) {
        if (count > 0)
            parts.append(QString::number(count) + suffix);
    };
    add(urgentLines().size() + freshWaitingLines(now).size(), u" 条等你处理"_s);
    add(runningLines().size(), u" 条在跑"_s);
    add(quietLines(now).size(), u" 条没新动静"_s);
    return parts.join(u" · "_s);
}
