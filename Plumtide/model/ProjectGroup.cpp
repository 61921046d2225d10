#include "Plumtide/model/ProjectGroup.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

bool isUrgentLine(const AgentTask &line)
{
    return line.isUrgent();
}

bool isRunning(const AgentTask &line)
{
    return line.status == AgentTaskStatus::running;
}

auto isFreshWaitingAt(const QDateTime &now)
{
    return [&now](const AgentTask &line) {
        return line.status == AgentTaskStatus::waiting && !line.isUrgent() && !line.isFaded(now);
    };
}

auto isQuietAt(const QDateTime &now)
{
    return [&now](const AgentTask &line) { return line.status == AgentTaskStatus::shelved || line.isFaded(now); };
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

bool ProjectGroup::isUrgent() const
{
    return std::ranges::any_of(lines, isUrgentLine);
}

QList<AgentTask> ProjectGroup::urgentLines() const
{
    return linesWhere(lines, isUrgentLine);
}

QList<AgentTask> ProjectGroup::freshWaitingLines(const QDateTime &now) const
{
    return linesWhere(lines, isFreshWaitingAt(now));
}

QList<AgentTask> ProjectGroup::runningLines() const
{
    return linesWhere(lines, isRunning);
}

QList<AgentTask> ProjectGroup::quietLines(const QDateTime &now) const
{
    return linesWhere(lines, isQuietAt(now));
}

ProjectSection ProjectGroup::section(const QDateTime &now) const
{
    if (isUrgent() || std::ranges::any_of(lines, isFreshWaitingAt(now)))
        return ProjectSection::pending;
    return std::ranges::any_of(lines, isRunning) ? ProjectSection::inProgress : ProjectSection::quiet;
}

QString ProjectGroup::summaryText(const QDateTime &now) const
{
    QStringList parts;
    const auto add = [&parts](qsizetype count, const QString &suffix) {
        if (count > 0)
            parts.append(QString::number(count) + suffix);
    };
    add(std::ranges::count_if(lines, isUrgentLine) + std::ranges::count_if(lines, isFreshWaitingAt(now)),
        u" 条等你处理"_s);
    add(std::ranges::count_if(lines, isRunning), u" 条在跑"_s);
    add(std::ranges::count_if(lines, isQuietAt(now)), u" 条没新动静"_s);
    return parts.join(u" · "_s);
}
