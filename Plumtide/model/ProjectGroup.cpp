#include "Plumtide/model/ProjectGroup.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

// The section of a project that has this line alone.
ProjectSection sectionOf(const AgentTask &line, const QDateTime &now)
{
    constexpr std::array sections{ProjectSection::pending, ProjectSection::pending, ProjectSection::inProgress,
                                  ProjectSection::quiet}; // by LineRank
    return sections[static_cast<std::size_t>(lineRank(line, now))];
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

ProjectSection ProjectGroup::section(const QDateTime &now) const
{
    ProjectSection first = ProjectSection::quiet;
    for (const AgentTask &line : lines)
        first = std::min(first, sectionOf(line, now));
    return first;
}

QString ProjectGroup::summaryText(const QDateTime &now) const
{
    static const std::array suffixes{u" 条等你处理"_s, u" 条在跑"_s, u" 条没新动静"_s};
    std::array<int, suffixes.size()> counts{};
    for (const AgentTask &line : lines)
        counts[static_cast<std::size_t>(sectionOf(line, now))] += line.status == AgentTaskStatus::done ? 0 : 1;
    QStringList parts;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] > 0)
            parts.append(QString::number(counts[i]) + suffixes[i]);
    }
    return parts.join(u" · "_s);
}
