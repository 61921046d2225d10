#include "Plumtide/store/TaskStore.h"

#include <QHash>

#include <algorithm>
#include <vector>

namespace {

// The position class of a line inside its project; lower comes first.
int lineRank(const AgentTask &line, const QDateTime &now)
{
    switch (line.status) {
    case AgentTaskStatus::waiting:
        if (line.isUrgent())
            return 0;
        return line.isFaded(now) ? 3 : 1;
    case AgentTaskStatus::running: return 2;
    case AgentTaskStatus::shelved:
    case AgentTaskStatus::done: return 3;
    }
    Q_UNREACHABLE();
}

constexpr int freshWaitingRank = 1; // the only rank in which the longest wait leads

/// A line with what decides its place, found once instead of at every comparison. Lines are heavy: they are copied
/// when they have their order.
struct Ranked
{
    const AgentTask *line;
    int rank;
    qint64 changed; // milliseconds
};

qint64 changeOf(const AgentTask &line)
{
    return line.updatedAt.toMSecsSinceEpoch();
}

QList<AgentTask> linesOf(const std::vector<Ranked> &ranked)
{
    QList<AgentTask> lines;
    lines.reserve(static_cast<qsizetype>(ranked.size()));
    for (const Ranked &item : ranked)
        lines.append(*item.line);
    return lines;
}

} // namespace

int TaskStore::urgentCount() const
{
    return static_cast<int>(
        std::count_if(m_tasks.begin(), m_tasks.end(), [](const AgentTask &line) { return line.isUrgent(); }));
}

int TaskStore::idleLineCount() const
{
    const QDateTime time = now();
    return static_cast<int>(std::count_if(m_tasks.begin(), m_tasks.end(), [&](const AgentTask &line) {
        return (line.status == AgentTaskStatus::shelved || line.isFaded(time)) && passesFilter(line);
    }));
}

QList<AgentTask> TaskStore::tasks(AgentTaskStatus in) const
{
    const QDateTime time = now();
    std::vector<Ranked> found;
    for (const AgentTask &line : m_tasks) {
        if (line.status == in && !line.isFaded(time) && passesFilter(line))
            found.push_back({&line, line.isUrgent() ? 0 : 1, changeOf(line)});
    }
    std::ranges::stable_sort(found, [in](const Ranked &a, const Ranked &b) {
        if (a.rank != b.rank)
            return a.rank < b.rank;
        return in == AgentTaskStatus::waiting ? a.changed < b.changed : b.changed < a.changed;
    });
    return linesOf(found);
}

QList<ProjectGroup> TaskStore::projectGroups() const
{
    const QDateTime time = now();
    std::vector<std::vector<Ranked>> projects;
    QHash<QString, std::size_t> places;
    for (const AgentTask &line : m_tasks) {
        if (line.status == AgentTaskStatus::done || !passesFilter(line))
            continue;
        auto place = places.constFind(line.project);
        if (place == places.constEnd()) {
            place = places.insert(line.project, projects.size());
            projects.emplace_back();
        }
        projects[*place].push_back({&line, lineRank(line, time), changeOf(line)});
    }
    QList<ProjectGroup> groups;
    groups.reserve(static_cast<qsizetype>(projects.size()));
    for (std::vector<Ranked> &lines : projects) {
        std::ranges::stable_sort(lines, [](const Ranked &a, const Ranked &b) {
            if (a.rank != b.rank)
                return a.rank < b.rank;
            return a.rank == freshWaitingRank ? a.changed < b.changed : b.changed < a.changed;
        });
        groups.append({lines.front().line->project, linesOf(lines)});
    }
    return groups;
}

std::array<QList<ProjectGroup>, allProjectSections.size()> TaskStore::sections() const
{
    struct Placed
    {
        ProjectGroup group;
        bool isUrgent;
        qint64 newest;
    };
    const QDateTime time = now();
    std::array<std::vector<Placed>, allProjectSections.size()> placed;
    for (ProjectGroup &group : projectGroups()) {
        const ProjectSection section = group.section(time);
        const qint64 newest = changeOf(*std::ranges::max_element(group.lines, {}, changeOf));
        const bool isUrgent = group.isUrgent();
        placed[static_cast<std::size_t>(section)].push_back({std::move(group), isUrgent, newest});
    }
    std::array<QList<ProjectGroup>, allProjectSections.size()> sections;
    for (std::size_t i = 0; i < placed.size(); ++i) {
        std::ranges::sort(placed[i], [](const Placed &a, const Placed &b) {
            if (a.isUrgent != b.isUrgent)
                return a.isUrgent;
            return a.newest != b.newest ? b.newest < a.newest : a.group.name < b.group.name;
        });
        for (Placed &item : placed[i])
            sections[i].append(std::move(item.group));
    }
    return sections;
}

QList<ProjectGroup> TaskStore::projectGroups(ProjectSection in) const
{
    return sections()[static_cast<std::size_t>(in)];
}

void TaskStore::upsert(AgentTask task)
{
    task.updatedAt = now();
    const qsizetype index = indexOf(task.id);
    if (index >= 0)
        replaceLine(index, std::move(task));
    else
        appendLine(std::move(task));
}

void TaskStore::setStatus(const QString &id, AgentTaskStatus status)
{
    const qsizetype index = indexOf(id);
    if (index < 0)
        return;
    AgentTask line = m_tasks.at(index);
    line.status = status;
    replaceLine(index, line);
    line.updatedAt = now();
    replaceLine(index, std::move(line));
}

bool TaskStore::passesFilter(const AgentTask &line) const
{
    return !m_sourceFilter || line.source == *m_sourceFilter;
}
