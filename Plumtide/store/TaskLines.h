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
    /// The line that shall stand at `place`; one past the last line it is appended. Without a line, the place goes.
    struct Edit
    {
        qsizetype place;
        std::optional<AgentTask> line;
    };
    using Sections = std::array<QList<ProjectGroup>, allProjectSections.size()>;

    void set(const QList<AgentTask> &lines);
    void take(const QList<Edit> &edits); ///< One after the other.
    [[nodiscard]] const QList<AgentTask> &lines() const { return m_lines; }
    [[nodiscard]] qsizetype placeOf(const QString &id) const; ///< Of the first such line; one past the last for none.

    [[nodiscard]] std::optional<TaskSource> sourceFilter() const { return m_sourceFilter; }
    void setSourceFilter(std::optional<TaskSource> source);
    [[nodiscard]] int urgentCount(const QDateTime &now) const;
    [[nodiscard]] int idleLineCount(const QDateTime &now) const;
    [[nodiscard]] int lineCount(AgentTaskStatus in, const QDateTime &now) const;
    [[nodiscard]] std::optional<AgentTask> firstWaiting(const QDateTime &now) const;
    [[nodiscard]] QList<AgentTask> tasks(AgentTaskStatus in, const QDateTime &now) const;
    [[nodiscard]] Sections sections(const QDateTime &now) const;

private:
    /// Which of the waiting lines comes first: whether it is not urgent, since when it waits, its place.
    using Turn = std::tuple<bool, qint64, qsizetype>;
    static constexpr qint64 longAgo = std::numeric_limits<qint64>::min(); // milliseconds, as all times here
    static constexpr qint64 never = std::numeric_limits<qint64>::max();

    /// A project's lines, and what the queries answer from: all of it under the source filter, but for `urgent`.
    struct Project
    {
        QList<qsizetype> places; // of all its lines, ascending
        ProjectGroup group;      // without lines where none is shown
        ProjectSection section = ProjectSection::quiet;
        bool isUrgent = false;
        qint64 newest = longAgo; // change of a line of the group
        Turn first{true, never, 0};
        int urgent = 0;
        int idle = 0;
        std::array<int, allAgentTaskStatuses.size()> counts{}; // of lines that are not faded
        // Until when the last line faded, and until when no further one does. It holds in between.
        qint64 from = never;
        qint64 until = longAgo;
    };

    void fileAnew();
    void file(qsizetype place);
    [[nodiscard]] bool passesFilter(const AgentTask &line) const;
    [[nodiscard]] Project made(const Project &before, const QDateTime &now) const;
    [[nodiscard]] const QHash<QString, Project> &projects(const QDateTime &now) const;
    template <typename Count>
    [[nodiscard]] int total(const QDateTime &now, Count count) const;

    QList<AgentTask> m_lines;
    QHash<QString, qsizetype> m_places; // of the first line with an id
    std::optional<TaskSource> m_sourceFilter;
    mutable QHash<QString, Project> m_projects; // by name
};
