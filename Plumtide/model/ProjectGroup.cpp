#include "Plumtide/model/ProjectGroup.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

auto isIn(LineRank rank, const QDateTime &now)
{
    return [rank, now](const AgentTask &line) {
        return line.status != AgentTaskStatus::done && lineRank(line, now) == rank;
    };
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

QList<AgentTask> ProjectGroup::linesOf(LineRank rank, const QDateTime &now) const
{
    QList<AgentTask> result;
    std::ranges::copy_if(lines, std::back_inserter(result), isIn(rank, now));
    return result;
}

ProjectSection ProjectGroup::section(const QDateTime &now) const
{
    const auto has = [&](LineRank rank) { return std::ranges::any_of(lines, isIn(rank, now)); };
    if (has(LineRank::urgent) || has(LineRank::freshWaiting))
        return ProjectSection::pending;
    return has(LineRank::running) ? ProjectSection::inProgress : ProjectSection::quiet;
}

QString ProjectGroup::summaryText(const QDateTime &now) const
{
    QStringList parts;
    const auto count = [&](LineRank rank) { return std::ranges::count_if(lines, isIn(rank, now)); };
    const auto add = [&parts](qsizetype number, const QString &suffix) {
        if (number > 0)
            parts.append(QString::number(number) + suffix);
    };
    add(count(LineRank::urgent) + count(LineRank::freshWaiting), u" 条等你处理"_s);
    add(count(LineRank::running), u" 条在跑"_s);
    add(count(LineRank::quiet), u" 条没新动静"_s);
    return parts.join(u" · "_s);
}
