#pragma once

#include "Plumtide/model/ProjectGroup.h"

#include <QHash>

#include <limits>
#include <tuple>

/// All task lines in stored order, and the queries of the board (described at TaskStore's functions of the same names).
/// The lines of each project are kept grouped: a query makes again only the groups of those projects of which a line
/// has changed, or has faded since.
/// Thread: one at a time, also for the queries.
class TaskLines
{
public:
    /// The line that shall stand at `place`; one past the last line it is appended.
    struct Edit
    {
        qsizetype place;
        AgentTask line;
    };
    /// They hold until a line changes or the next query is made.
    using Sections = std::array<QList<const ProjectGroup *>, allProjectSections.size()>;

    void take(const Edit &edit);
    void set(const QList<AgentTask> &lines);
    [[nodiscard]] const QList<AgentTask> &lines() const { return m_lines; }
    /// Of the first line with this id; one past the last line when there is none.
    [[nodiscard]] qsizetype placeOf(const QString &id) const { return m_places.value(id, m_lines.size()); }

    [[nodiscard]] std::optional<AgentTask> line(const QString &id) const
    {
        const qsizetype place = placeOf(id);
        return place < m_lines.size() ? std::optional(m_lines.at(place)) : std::nullopt;
    }

    [[nodiscard]] std::optional<TaskSource> sourceFilter() const { return m_sourceFilter; }
    void setSourceFilter(std::optional<TaskSource> source);
    [[nodiscard]] int urgentCount(const QDateTime &now) const { return total(now).urgent; }
    [[nodiscard]] int idleLineCount(const QDateTime &now) const { return total(now).idle; }
    [[nodiscard]] int lineCount(AgentTaskStatus in, const QDateTime &now) const { return total(now).lines[at(in)]; }
    [[nodiscard]] std::optional<AgentTask> firstWaiting(const QDateTime &now) const;
    [[nodiscard]] QList<AgentTask> tasks(AgentTaskStatus in, const QDateTime &now) const;
    [[nodiscard]] Sections sections(const QDateTime &now) const;

private:
    static constexpr qint64 longAgo = std::numeric_limits<qint64>::min(); // milliseconds, as all times here
    static constexpr qint64 never = std::numeric_limits<qint64>::max();

    /// Of one project or of all, under the source filter.
    struct Counts
    {
        int urgent = 0; // whatever the filter says
        int idle = 0;
        std::array<int, allAgentTaskStatuses.size()> lines{}; // those that are not faded
        /// Who of the waiting lines comes first: whether it is not urgent, since when it waits, its place.
        std::tuple<bool, qint64, qsizetype> first{true, never, -1};
    };
    struct Project
    {
        QList<qsizetype> places; // of all its lines, ascending
        ProjectGroup group;      // without lines where none is shown
        ProjectSection section = ProjectSection::quiet;
        bool isUrgent = false;
        qint64 newest = longAgo; // change of a line of the group
        Counts counts;
        // Until when the last line faded, and until when no further one does. All but the places holds in between.
        qint64 from = never;
        qint64 until = longAgo;
    };

    static constexpr std::size_t at(AgentTaskStatus status) { return static_cast<std::size_t>(status); }
    [[nodiscard]] bool passesFilter(const AgentTask &line) const
    {
        return !m_sourceFilter || line.source == *m_sourceFilter;
    }
    void file(qsizetype place);
    void fileAnew();
    [[nodiscard]] Project made(const Project &before, const QDateTime &now) const;
    [[nodiscard]] const QHash<QString, Project> &projects(const QDateTime &now) const;
    [[nodiscard]] const Counts &total(const QDateTime &now) const;

    QList<AgentTask> m_lines;
    QHash<QString, qsizetype> m_places; // of the first line with an id
    std::optional<TaskSource> m_sourceFilter;
    mutable QHash<QString, Project> m_projects; // by name
    // Of all projects.
    mutable Counts m_total;
    mutable qint64 m_from = longAgo;
    mutable qint64 m_until = never;
};
