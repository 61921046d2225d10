#include "Plumtide/store/TaskStore.h"

#include <QHash>

#include <algorithm>

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

QDateTime newestChange(const ProjectGroup &group)
{
    return std::max_element(group.lines.begin(), group.lines.end(),
                            [](const AgentTask &a, const AgentTask &b) { return a.updatedAt < b.updatedAt; })
        ->updatedAt;
}

} // namespace

int TaskStore::urgentCount() const
{
    return static_cast<int>(std::count_if(m_tasks.begin(), m_tasks.end(),
                                          [](const AgentTask &line) { return line.isUrgent(); }));
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
    QList<AgentTask> result;
    std::copy_if(m_tasks.begin(), m_tasks.end(), std::back_inserter(result), [&](const AgentTask &line) {
        return line.status == in && !line.isFaded(time) && passesFilter(line);
    });
    std::stable_sort(result.begin(), result.end(), [in](const AgentTask &a, const AgentTask &b) {
        if (a.isUrgent() != b.isUrgent())
            return a.isUrgent();
        return in == AgentTaskStatus::waiting ? a.updatedAt < b.updatedAt : b.updatedAt < a.updatedAt;
    });
    return result;
}

QList<ProjectGroup> TaskStore::projectGroups() const
{
    const QDateTime time = now();
    QList<ProjectGroup> groups;
    QHash<QString, qsizetype> places;
    for (const AgentTask &line : m_tasks) {
        if (line.status == AgentTaskStatus::done || !passesFilter(line))
            continue;
        const auto place = places.constFind(line.project);
        if (place != places.constEnd()) {
            groups[*place].lines.append(line);
        } else {
            places.insert(line.project, groups.size());
            groups.append({line.project, {line}});
        }
    }
    for (ProjectGroup &group : groups) {
        std::stable_sort(group.lines.begin(), group.lines.end(), [&time](const AgentTask &a, const AgentTask &b) {
            const int rank = lineRank(a, time);
            if (rank != lineRank(b, time))
                return rank < lineRank(b, time);
            return rank == freshWaitingRank ? a.updatedAt < b.updatedAt : b.updatedAt < a.updatedAt;
        });
    }
    return groups;
}

QList<ProjectGroup> TaskStore::projectGroups(ProjectSection in) const
{
    const QDateTime time = now();
    QList<ProjectGroup> groups = projectGroups();
    groups.removeIf([in, &time](const ProjectGroup &group) { return group.section(time) != in; });
    std::sort(groups.begin(), groups.end(), [](const ProjectGroup &a, const ProjectGroup &b) {
        const bool isUrgent = !a.urgentLines().isEmpty();
        if (isUrgent != !b.urgentLines().isEmpty())
            return isUrgent;
        const QDateTime newestOfA = newestChange(a);
        const QDateTime newestOfB = newestChange(b);
        return newestOfA != newestOfB ? newestOfB < newestOfA : a.name < b.name;
    });
    return groups;
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
