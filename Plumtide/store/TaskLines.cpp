#include "Plumtide/store/TaskLines.h"

#include <algorithm>
#include <atomic>
#include <vector>

namespace {

qint64 changeOf(const AgentTask &line)
{
    return line.updatedAt.toMSecsSinceEpoch();
}

/// A line with what decides its place, found once instead of at every comparison. Lines are heavy: they are copied
/// when they have their order.
struct Ranked
{
    const AgentTask *line;
    LineRank rank;
    qint64 order; // among the same rank, lower comes first
};

QList<AgentTask> inOrder(std::vector<Ranked> &lines)
{
    std::ranges::stable_sort(lines, {}, [](const Ranked &item) { return std::pair(item.rank, item.order); });
    QList<AgentTask> result;
    result.reserve(static_cast<qsizetype>(lines.size()));
    for (const Ranked &item : lines)
        result.append(*item.line);
    return result;
}

} // namespace

void TaskLines::take(const Edit &edit)
{
    if (edit.place == m_lines.size()) {
        m_lines.append(edit.line);
        file(edit.place);
        return;
    }
    const AgentTask before = std::exchange(m_lines[edit.place], edit.line);
    m_projects[before.project].from = m_from = never;
    if (before.project != edit.line.project)
        fileAnew();
}

void TaskLines::set(const QList<AgentTask> &lines)
{
    m_lines = lines;
    fileAnew();
}

void TaskLines::setSourceFilter(std::optional<TaskSource> source)
{
    m_sourceFilter = source;
    for (Project &project : m_projects)
        project.from = m_from = never;
}

std::optional<AgentTask> TaskLines::firstWaiting(const QDateTime &now) const
{
    const qsizetype place = std::get<2>(total(now).first);
    return place < 0 ? std::nullopt : std::optional(m_lines.at(place));
}

QList<AgentTask> TaskLines::tasks(AgentTaskStatus in, const QDateTime &now) const
{
    std::vector<Ranked> found;
    for (const AgentTask &line : m_lines) {
        const qint64 change = changeOf(line);
        if (line.status == in && !line.isFaded(now) && passesFilter(line))
            found.push_back({&line, lineRank(line, now), in == AgentTaskStatus::waiting ? change : -change});
    }
    return inOrder(found);
}

TaskLines::Sections TaskLines::sections(const QDateTime &now) const
{
    // Whether it is urgent, and its newest change: the higher comes first. Near each other in memory.
    using Place = std::pair<std::pair<bool, qint64>, const Project *>;
    std::vector<Place> shown;
    for (const Project &project : projects(now)) {
        if (!project.group.lines.isEmpty())
            shown.emplace_back(std::pair(project.isUrgent, project.newest), &project);
    }
    std::ranges::sort(shown, [](const Place &a, const Place &b) {
        return a.first != b.first ? a.first > b.first : a.second->group.name < b.second->group.name;
    });
    Sections sections;
    for (const auto &[order, project] : shown)
        sections[static_cast<std::size_t>(project->section)].append(&project->group);
    return sections;
}

void TaskLines::file(qsizetype place)
{
    const AgentTask &line = m_lines.at(place);
    if (!m_places.contains(line.id))
        m_places.insert(line.id, place);
    Project &project = m_projects[line.project];
    project.places.append(place);
    project.group.name = line.project;
    project.from = m_from = never;
}

void TaskLines::fileAnew()
{
    m_places.clear();
    for (Project &project : m_projects)
        project.places.clear();
    for (qsizetype place = 0; place < m_lines.size(); ++place)
        file(place);
    m_projects.removeIf([](auto project) { return project->places.isEmpty(); });
}

TaskLines::Project TaskLines::made(const Project &before, const QDateTime &now) const
{
    static std::atomic<quint64> lastRevision = 0;
    Project project;
    project.places = before.places;
    project.from = longAgo;
    project.until = never;
    Counts &counts = project.counts;
    std::vector<Ranked> shown;
    for (const qsizetype place : project.places) {
        const AgentTask &line = m_lines.at(place);
        const LineRank rank = lineRank(line, now);
        const qint64 change = changeOf(line);
        counts.urgent += rank == LineRank::urgent ? 1 : 0;
        if (!passesFilter(line))
            continue;
        if (!line.isFaded(now))
            ++counts.lines[at(line.status)];
        if (line.status == AgentTaskStatus::done)
            continue;
        if (rank <= LineRank::freshWaiting)
            counts.first = std::min(counts.first, {rank != LineRank::urgent, change, place});
        counts.idle += rank == LineRank::quiet ? 1 : 0;
        if (const std::optional<QDateTime> end = line.freshUntil(); end && rank == LineRank::quiet)
            project.from = std::max(project.from, end->toMSecsSinceEpoch());
        else if (end)
            project.until = std::min(project.until, end->toMSecsSinceEpoch());
        project.newest = std::max(project.newest, change);
        shown.push_back({&line, rank, rank == LineRank::freshWaiting ? change : -change});
    }
    project.group = {before.group.name, inOrder(shown), before.group.revision};
    project.section = project.group.section(now);
    project.isUrgent = project.group.isUrgent();
    // Lines that are the same stand in other lists only if one of them has faded.
    if (project.group != before.group || counts.idle != before.counts.idle)
        project.group.revision = ++lastRevision;
    return project;
}

const QHash<QString, TaskLines::Project> &TaskLines::projects(const QDateTime &now) const
{
    const qint64 time = now.toMSecsSinceEpoch();
    if (time > m_from && time <= m_until)
        return m_projects;
    m_from = longAgo;
    m_until = never;
    m_total = {};
    for (Project &project : m_projects) {
        if (time <= project.from || time > project.until)
            project = made(project, now);
        m_from = std::max(m_from, project.from);
        m_until = std::min(m_until, project.until);
        m_total.urgent += project.counts.urgent;
        m_total.idle += project.counts.idle;
        for (const AgentTaskStatus status : allAgentTaskStatuses)
            m_total.lines[at(status)] += project.counts.lines[at(status)];
        m_total.first = std::min(m_total.first, project.counts.first);
    }
    return m_projects;
}

const TaskLines::Counts &TaskLines::total(const QDateTime &now) const
{
    (void)projects(now);
    return m_total;
}
