#include "Plumtide/store/TaskLines.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <vector>

namespace {

/// By rank, and among the same rank by a number of which the lower comes first.
using OrderedLines = std::multimap<std::pair<LineRank, qint64>, const AgentTask *>;

QList<AgentTask> copied(const OrderedLines &lines)
{
    QList<AgentTask> result;
    result.reserve(static_cast<qsizetype>(lines.size()));
    for (const auto &[order, line] : lines)
        result.append(*line);
    return result;
}

} // namespace

void TaskLines::applyEdit(const Edit &edit)
{
    if (edit.index == m_lines.size()) {
        m_lines.append(edit.line);
        return indexLine(edit.index);
    }
    const AgentTask before = std::exchange(m_lines[edit.index], edit.line);
    m_projects[before.project].validFrom = m_all.validFrom = never;
    if (before.project != edit.line.project)
        rebuildIndex();
}

void TaskLines::set(const QList<AgentTask> &lines)
{
    m_lines = lines;
    rebuildIndex();
}

void TaskLines::setSourceFilter(std::optional<TaskSource> source)
{
    m_sourceFilter = source;
    for (Project &project : m_projects)
        project.validFrom = m_all.validFrom = never;
}

std::optional<AgentTask> TaskLines::firstWaiting(const QDateTime &now) const
{
    const qsizetype index = std::get<2>(total(now).first);
    return index < 0 ? std::nullopt : std::optional(m_lines.at(index));
}

QList<AgentTask> TaskLines::tasks(AgentTaskStatus in, const QDateTime &now) const
{
    OrderedLines found;
    for (const AgentTask &line : m_lines) {
        const qint64 change = line.updatedAt.toMSecsSinceEpoch();
        if (line.status == in && !line.isFaded(now) && !isFilteredOut(line))
            found.emplace(std::pair(lineRank(line, now), in == AgentTaskStatus::waiting ? change : -change), &line);
    }
    return copied(found);
}

TaskLines::Sections TaskLines::sections(const QDateTime &now) const
{
    std::vector<const Project *> shown;
    updateCache(now);
    for (const Project &project : std::as_const(m_projects)) {
        if (!project.group.lines.isEmpty())
            shown.push_back(&project);
    }
    std::ranges::sort(shown, {}, &Project::order);
    Sections sections;
    for (const Project *project : shown)
        sections[static_cast<std::size_t>(std::get<0>(project->order))].append(&project->group);
    return sections;
}

QList<AgentTask> TaskLines::lastDone(std::size_t most) const
{
    OrderedLines last;
    for (const AgentTask &line : m_lines) {
        if (line.status == AgentTaskStatus::done)
            last.emplace(std::pair(LineRank::quiet, -line.updatedAt.toMSecsSinceEpoch()), &line);
        if (last.size() > most)
            last.erase(std::prev(last.end()));
    }
    return copied(last);
}

void TaskLines::indexLine(qsizetype index)
{
    const AgentTask &line = m_lines.at(index);
    if (!m_indexes.contains(line.id))
        m_indexes.insert(line.id, index);
    Project &project = m_projects[line.project];
    project.indexes.append(index);
    project.group.name = line.project;
    project.validFrom = m_all.validFrom = never;
}

void TaskLines::rebuildIndex()
{
    m_indexes.clear();
    for (Project &project : m_projects)
        project.indexes.clear();
    for (qsizetype index = 0; index < m_lines.size(); ++index)
        indexLine(index);
    m_projects.removeIf([](auto project) { return project->indexes.isEmpty(); });
}

void TaskLines::regroup(Project &project, const QDateTime &now) const
{
    static std::atomic<quint64> lastRevision = 0;
    const ProjectGroup before = project.group;
    const int idleBefore = std::exchange(project.counts, {}).idle;
    project.validFrom = now.toMSecsSinceEpoch();
    project.validUntil = never;
    Counts &counts = project.counts;
    OrderedLines shown;
    qint64 age = never; // lower where the last change is later
    for (const qsizetype index : project.indexes) {
        const AgentTask &line = m_lines.at(index);
        const LineRank rank = lineRank(line, now);
        const qint64 change = line.updatedAt.toMSecsSinceEpoch();
        counts.urgent += rank == LineRank::urgent ? 1 : 0;
        if (isFilteredOut(line))
            continue;
        if (!line.isFaded(now))
            ++counts.lines[at(line.status)];
        if (line.status == AgentTaskStatus::done)
            continue;
        if (rank <= LineRank::freshWaiting)
            counts.first = std::min(counts.first, {rank != LineRank::urgent, change, index});
        counts.idle += rank == LineRank::quiet ? 1 : 0;
        if (const std::optional<QDateTime> end = line.freshUntil(); end && rank == LineRank::freshWaiting)
            project.validUntil = std::min(project.validUntil, end->toMSecsSinceEpoch());
        age = std::min(age, -change);
        shown.emplace(std::pair(rank, rank == LineRank::freshWaiting ? change : -change), &line);
    }
    project.group.lines = copied(shown);
    project.group.hasReplied = std::ranges::any_of(project.group.lines, &AgentTask::hasReplied);
    project.order = {project.group.section(now), !project.group.isUrgent(), age, project.group.name};
    // The same lines are listed elsewhere only if one of them has faded.
    if (project.group != before || counts.idle != idleBefore)
        project.group.revision = ++lastRevision;
}

void TaskLines::updateCache(const QDateTime &now) const
{
    const qint64 time = now.toMSecsSinceEpoch();
    if (time >= m_all.validFrom && time <= m_all.validUntil)
        return;
    m_all.validFrom = longAgo;
    m_all.validUntil = never;
    m_all.counts = {};
    for (Project &project : m_projects) {
        if (time < project.validFrom || time > project.validUntil)
            regroup(project, now);
        m_all.validFrom = std::max(m_all.validFrom, project.validFrom);
        m_all.validUntil = std::min(m_all.validUntil, project.validUntil);
        m_all.counts.urgent += project.counts.urgent;
        m_all.counts.idle += project.counts.idle;
        for (const AgentTaskStatus status : allAgentTaskStatuses)
            m_all.counts.lines[at(status)] += project.counts.lines[at(status)];
        m_all.counts.first = std::min(m_all.counts.first, project.counts.first);
    }
}
