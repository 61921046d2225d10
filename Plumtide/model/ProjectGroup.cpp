#include "Plumtide/model/ProjectGroup.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

qsizetype count(const QList<AgentTask> &lines, LineRank rank, const QDateTime &now)
{
    return std::ranges::count_if(lines, [&](const AgentTask &line) {
        return line.status != AgentTaskStatus::done && lineRank(line, now) == rank;
    });
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

ProjectSection ProjectGroup::section(const QDateTime &now) const
{
    if (count(lines, LineRank::urgent, now) + count(lines, LineRank::freshWaiting, now) > 0)
        return ProjectSection::pending;
    return count(lines, LineRank::running, now) > 0 ? ProjectSection::inProgress : ProjectSection::quiet;
}

QString ProjectGroup::summaryText(const QDateTime &now) const
{
    QStringList parts;
    const auto add = [&parts](qsizetype number, const QString &suffix) {
        if (number > 0)
            parts.append(QString::number(number) + suffix);
    };
    add(count(lines, LineRank::urgent, now) + count(lines, LineRank::freshWaiting, now), u" 条等你处理"_s);
    add(count(lines, LineRank::running, now), u" 条在跑"_s);
    add(count(lines, LineRank::quiet, now), u" 条没新动静"_s);
    return parts.join(u" · "_s);
}
