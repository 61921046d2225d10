#include "Plumtide/model/ProjectGroup.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

auto isIn(LineRank list, const QDateTime &now)
{
    return [list, &now](const AgentTask &line) {
        return line.status != AgentTaskStatus::done && lineRank(line, now) == list;
    };
}

template <typename Predicate>
QList<AgentTask> linesWhere(const QList<AgentTask> &lines, Predicate predicate)
{
    QList<AgentTask> result;
    std::ranges::copy_if(lines, std::back_inserter(result), predicate);
    return result;
}

} // namespace

LineRank lineRank(const AgentTask &line, const QDateTime &now)
{
    if (line.isUrgent())
        return LineRank::urgent;
    if (line.status == AgentTaskStatus::waiting && !line.isFaded(now))
        return LineRank::freshWaiting;
    return line.status == AgentTaskStatus::running ? LineRank::running : LineRank::quiet;
}

QString label(ProjectSection section)
{
    static const std::array labels{u"待处理"_s, u"进行中"_s, u"暂无更新"_s};
    return labels[static_cast<std::size_t>(section)];
}

bool ProjectGroup::isUrgent() const
{
    return std::ranges::any_of(lines, &AgentTask::isUrgent);
}

QList<AgentTask> ProjectGroup::urgentLines() const
{
    return linesWhere(lines, [](const AgentTask &line) { return line.isUrgent(); });
}

QList<AgentTask> ProjectGroup::freshWaitingLines(const QDateTime &now) const
{
    return linesWhere(lines, isIn(LineRank::freshWaiting, now));
}

QList<AgentTask> ProjectGroup::runningLines() const
{
    return linesWhere(lines, [](const AgentTask &line) { return line.status == AgentTaskStatus::running; });
}

QList<AgentTask> ProjectGroup::quietLines(const QDateTime &now) const
{
    return linesWhere(lines, isIn(LineRank::quiet, now));
}

ProjectSection ProjectGroup::section(const QDateTime &now) const
{
    const auto has = [&](LineRank list) { return std::ranges::any_of(lines, isIn(list, now)); };
    if (has(LineRank::urgent) || has(LineRank::freshWaiting))
        return ProjectSection::pending;
    return has(LineRank::running) ? ProjectSection::inProgress : ProjectSection::quiet;
}

QString ProjectGroup::summaryText(const QDateTime &now) const
{
    QStringList parts;
    const auto count = [&](LineRank list) { return std::ranges::count_if(lines, isIn(list, now)); };
    const auto add = [&parts](qsizetype number, const QString &suffix) {
        if (number > 0)
            parts.append(QString::number(number) + suffix);
    };
    add(count(LineRank::urgent) + count(LineRank::freshWaiting), u" 条等你处理"_s);
    add(count(LineRank::running), u" 条在跑"_s);
    add(count(LineRank::quiet), u" 条没新动静"_s);
    return parts.join(u" · "_s);
}
