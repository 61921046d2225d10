#pragma once

#include "Plumtide/model/ProjectGroup.h"

#include <QHash>

#include <limits>
#include <tuple>

/// All task lines in stored order, and the queries of the board (described at TaskStore's functions of the same names).
/// The groups are cached: a query makes only those again in which a line has changed or faded.
/// Thread: one at a time, also for the queries.
class TaskLines
{
public:
    /// Sets the line at `index`; an index past the last line appends it.
    struct Edit
    {
        qsizetype index;
        AgentTask line;
    };
    /// The pointers are valid until the next query or change.
    using Sections = std::array<QList<const ProjectGroup *>, allProjectSections.size()>;

    void applyEdit(const Edit &edit);
    void set(const QList<AgentTask> &lines);
    [[nodiscard]] const QList<AgentTask> &lines() const { return m_lines; }
    /// Of the first line with this id; the number of lines when there is none.
    [[nodiscard]] qsizetype indexOf(const QString &id) const { return m_indexes.value(id, m_lines.size()); }

    [[nodiscard]] std::optional<AgentTask> line(const QString &id) const
    {
        const qsizetype index = indexOf(id);
        return index < m_lines.size() ? std::optional(m_lines.at(index)) : std::nullopt;
    }

    [[nodiscard]] std::optional<TaskSource> sourceFilter() const { return m_sourceFilter; }
    void setSourceFilter(std::optional<TaskSource> source);
    [[nodiscard]] int urgentCount(const QDateTime &now) const { return total(now).urgent; }
    [[nodiscard]] int idleLineCount(const QDateTime &now) const { return total(now).idle; }
    [[nodiscard]] int lineCount(AgentTaskStatus in, const QDateTime &now) const { return total(now).lines[at(in)]; }
    [[nodiscard]] std::optional<AgentTask> firstWaiting(const QDateTime &now) const;
    [[nodiscard]] QList<AgentTask> tasks(AgentTaskStatus in, const QDateTime &now) const;
    [[nodiscard]] Sections sections(const QDateTime &now) const;
    [[nodiscard]] QList<AgentTask> lastDone(std::size_t most) const;

private:
    static constexpr qint64 longAgo = std::numeric_limits<qint64>::min(); // milliseconds, as all times here
    static constexpr qint64 never = std::numeric_limits<qint64>::max();

    /// Of one project or of all, under the source filter.
    struct Counts
    {
        int urgent = 0; // whatever the filter says
        int idle = 0;
        std::array<int, allAgentTaskStatuses.size()> lines{}; // those that are not faded
        /// The waiting line that comes first: whether it is not urgent, its last change, its index.
        std::tuple<bool, qint64, qsizetype> first{true, never, -1};
    };
    /// The cached values hold for validFrom <= now <= validUntil. The defaults make them invalid at any time.
    struct Project
    {
        QList<qsizetype> indexes; // of all its lines, ascending; not a cached value
        ProjectGroup group;       // without lines where none is shown
        /// Lower comes first: its section, whether it is not urgent, minus its last change, its name.
        std::tuple<ProjectSection, bool, qint64, QString> order;
        Counts counts;
        qint64 validFrom = never; // when they were made
        qint64 validUntil = longAgo;
    };

    static constexpr std::size_t at(AgentTaskStatus status) { return static_cast<std::size_t>(status); }
    [[nodiscard]] bool isFilteredOut(const AgentTask &line) const
    {
        return m_sourceFilter.value_or(line.source) != line.source;
    }
    void indexLine(qsizetype index);
    void rebuildIndex();
    void regroup(Project &project, const QDateTime &now) const;
    void updateCache(const QDateTime &now) const;
    [[nodiscard]] const Counts &total(const QDateTime &now) const { return updateCache(now), m_all.counts; }

    QList<AgentTask> m_lines;
    QHash<QString, qsizetype> m_indexes; // of the first line with an id
    std::optional<TaskSource> m_sourceFilter;
    mutable QHash<QString, Project> m_projects; // by name
    mutable Project m_all; // of all projects: only the sum of the counts, and when all of them hold
};
