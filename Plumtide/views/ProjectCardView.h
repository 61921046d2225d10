#pragma once

#include "Plumtide/model/ProjectGroup.h"
#include "Plumtide/views/Drawing.h"

#include <QDateTime>
#include <QList>

/// The card of one project, as its group is at a moment: its name in its colour, how long ago anything changed, a
/// summary, and the lines that it lists. It knows no widgets and no places.
class ProjectCardView
{
public:
    static constexpr double paddingY = 10; ///< Logical pixels, as all here.
    static constexpr double gap = 8;       ///< Between its header, its lines and the fold.

    /// Takes over a group without the line `excludeID`, which is shown elsewhere; nothing is done where it shows that.
    void setGroup(const ProjectGroup &group, const QString &excludeID, const QDateTime &now);
    [[nodiscard]] const QString &name() const { return m_group.name; }
    [[nodiscard]] quint64 revision() const { return m_group.revision; }
    [[nodiscard]] const QDateTime &now() const { return m_now; } ///< When the group was as it is shown.
    [[nodiscard]] const QList<AgentTask> &activeLines() const { return m_activeLines; }
    [[nodiscard]] const QList<AgentTask> &quietLines() const { return m_quietLines; }
    [[nodiscard]] const AgentTask &line(qsizetype index) const; ///< The active ones come first.
    /// Quiet lines can be folded away where there are others.
    [[nodiscard]] bool canFold() const { return !m_activeLines.isEmpty() && !m_quietLines.isEmpty(); }
    [[nodiscard]] double opacity() const;

    [[nodiscard]] double left() const; ///< Where its lines begin.
    [[nodiscard]] double lineWidth(double width) const;
    [[nodiscard]] double linesTop() const { return m_linesTop; } ///< The first line is a gap further down.

    [[nodiscard]] Drawing compose(QSizeF size) const;     ///< All but the lines and the fold.
    [[nodiscard]] Drawing composeFold(bool isOpen) const; ///< The button "fold", with the project for its subject.
    [[nodiscard]] static double foldHeight();

    // What the board keeps with each card.
    bool isDrawn = false;          ///< Set by the board; unset when something else is to be drawn.
    std::optional<bool> drawnFold; ///< The same of the fold: how it was drawn.
    int round = 0;                 ///< Of the board's refreshes, in which it was last on the board.
    std::size_t itemIndex = 0;     ///< Of its item; those of its lines follow.

private:
    ProjectGroup m_group;
    QString m_excludeID;
    QDateTime m_now;
    qint64 m_validFrom = 0;  // milliseconds
    qint64 m_validUntil = 0; // then time alone changes what is shown
    ProjectSection m_section = ProjectSection::pending;
    QString m_summary;
    QString m_time; // since the newest change
    bool m_isUrgent = false;
    double m_linesTop = 0;
    QList<AgentTask> m_activeLines;
    QList<AgentTask> m_quietLines;
};
