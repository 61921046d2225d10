#pragma once

#include "Plumtide/model/AgentTask.h"

#include <algorithm>

/// How lines are ordered inside a project, the first first. A line that is done counts as quiet.
enum class LineRank { urgent, freshWaiting, running, quiet };
[[nodiscard]] LineRank lineRank(const AgentTask &line, const QDateTime &now);

/// The three sections of the board, in the order in which they are shown.
enum class ProjectSection { pending, inProgress, quiet };

inline constexpr std::array allProjectSections{ProjectSection::pending, ProjectSection::inProgress,
                                               ProjectSection::quiet};

/// The section's label on the board: "待处理", "进行中", "暂无更新".
[[nodiscard]] QString label(ProjectSection section);

/// The lines of one project, and what follows from them and from `now`. Lines that are done do not count.
struct ProjectGroup
{
    QString name; ///< The project, and the group's identity.
    QList<AgentTask> lines;
    /// Given by the board: groups of the same name and revision show the same. It changes with a line's content or
    /// place, or the list that it is in, and with nothing else; no two boards of a process give the same one.
    quint64 revision = 0;
    bool hasReplied = false; ///< Given by the board: any of its lines has.

    bool operator==(const ProjectGroup &other) const { return name == other.name && lines == other.lines; }

    [[nodiscard]] bool isUrgent() const { return std::ranges::any_of(lines, &AgentTask::isUrgent); }
    [[nodiscard]] ProjectSection section(const QDateTime &now) const;

    /// "2 条等你处理 · 3 条在跑 · 2 条没新动静", with the empty parts left out.
    [[nodiscard]] QString summaryText(const QDateTime &now) const;
};
