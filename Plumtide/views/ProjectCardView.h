#pragma once

#include "Plumtide/model/ProjectGroup.h"
#include "Plumtide/views/Drawing.h"

#include <cmath>

/// What a project's card shows besides its lines: the project in its colour, how long ago anything changed, a summary;
/// and the button that unfolds the quiet lines.
struct ProjectCardFace
{
    QString project;
    QString age;
    QString summary;
    ProjectSection section = ProjectSection::pending;
    bool isUrgent = false;
    qsizetype foldedLines = 0; ///< 0 where there is no fold.
    bool isFoldOpen = false;
    double linesLeft = 11; ///< Where the text and the lines begin.
    double height = 0;     ///< Given by the layout.

    bool operator==(const ProjectCardFace &) const = default;

    [[nodiscard]] static double foldHeight();
    [[nodiscard]] Drawing compose(double width) const;
};

/// The card of one project, as its group is at a moment. It is no widget.
struct ProjectCardView
{
    static constexpr double paddingX = 11; ///< Logical pixels, as all here.
    static constexpr double paddingY = 10;
    static constexpr double gap = 8; ///< Between its header, its lines and the fold.

    /// Takes over a group without the line `excludeID`, which is shown elsewhere.
    void setGroup(const ProjectGroup &group, const QString &excludeID, const QDateTime &now);
    /// Whether that would change nothing.
    [[nodiscard]] bool shows(const ProjectGroup &group, const QString &excludeID, const QDateTime &now) const;
    /// Quiet lines can be folded away where there are others.
    [[nodiscard]] bool canFold() const { return face.foldedLines > 0; }
    /// Those of its lines that have rows, while this much of the quiet lines is unfolded, 0 to 1.
    [[nodiscard]] qsizetype rowCount(double unfolded) const
    {
        return canFold() && unfolded == 0 ? activeCount : lines.size();
    }
    [[nodiscard]] qsizetype indexOf(const QString &id) const; ///< Of one of its lines; -1 where it does not have it.
    [[nodiscard]] double opacity() const { return face.section == ProjectSection::quiet ? 0.75 : 1; }
    [[nodiscard]] double lineWidth(double width) const { return std::floor(width - face.linesLeft - paddingX); }

    ProjectCardFace face;
    QList<AgentTask> lines;
    qsizetype activeCount = 0; ///< Of its lines; these come first.
    double linesTop = 0;       ///< The first line is a gap further down.
    QDateTime shownAt;         ///< When the group was as it is shown.
    quint64 revision = 0;      ///< Of the group.
    QString excludedID;        ///< Of a line of the group that it does not show.

    // What the board keeps with each card.
    int lastSeenRefresh = 0;
    qsizetype itemIndex = 0; ///< Of its item; those of its lines are before it.

private:
    // What is shown is right for m_validFrom <= now < m_validUntil, in milliseconds.
    qint64 m_validFrom = 0;
    qint64 m_validUntil = 0;
};
