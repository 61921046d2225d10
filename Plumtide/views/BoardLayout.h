#pragma once

#include "Plumtide/model/ProjectGroup.h"
#include "Plumtide/views/Drawing.h"

#include <QHash>

#include <array>
#include <compare>
#include <vector>

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
    double height = 0; ///< Given by the layout.

    bool operator==(const ProjectCardFace &) const = default;

    static constexpr double paddingX = 11;
    /// Where the text and the lines begin, and how wide they are in a card of this width.
    [[nodiscard]] double innerLeft() const { return section == ProjectSection::pending ? 13 : paddingX; }
    [[nodiscard]] double innerWidth(double width) const { return width - innerLeft() - paddingX; }
    [[nodiscard]] Drawing compose(double width) const;
};

/// The card of one project, as its group is at a moment. It is no widget.
struct ProjectCardView
{
    /// Takes over a group without the line `excludeID`, which is shown elsewhere.
    void setGroup(const ProjectGroup &group, const QString &excludeID, const QDateTime &now);
    /// Whether that would change nothing.
    [[nodiscard]] bool shows(const ProjectGroup &group, const QString &excludeID, const QDateTime &now) const;
    [[nodiscard]] bool canFold() const { return face.foldedLines > 0; } ///< Its quiet lines, where it has others.
    /// Those of its lines that have rows, while this much of the quiet lines is unfolded, 0 to 1.
    [[nodiscard]] qsizetype rowCount(double unfolded) const
    {
        return canFold() && unfolded == 0 ? activeCount : lines.size();
    }
    [[nodiscard]] qsizetype indexOf(const QString &id) const; ///< Of one of its lines; -1 where it does not have it.
    [[nodiscard]] double opacity() const { return face.section == ProjectSection::quiet ? 0.75 : 1; }

    ProjectCardFace face;
    QList<AgentTask> lines;
    qsizetype activeCount = 0;            ///< Of its lines; these come first.
    QDateTime shownAt;                    ///< When the group was as it is shown.
    qint64 validFrom = 0, validUntil = 0; ///< When it is shown the same; milliseconds since 1970, quicker to compare.
    quint64 revision = 0;                 ///< Of the group.
    QString excludedID;                   ///< Of a line of the group that it does not show.

    // What the board keeps with each card.
    int lastSeenRefresh = 0;
    qsizetype itemIndex = 0; ///< Of its item; those of its lines are before it.
};

/// Something that stands on the board: where, and what it shows.
struct BoardItem
{
    enum class Kind { Banner, FocusCard, Heading, Row, Card };

    /// Names the same thing in every layout.
    struct Key
    {
        Kind kind;
        QString id; ///< Of its line; the name of its project; or the number of its section.

        std::weak_ordering operator<=>(const Key &) const = default;
    };

    Kind kind;
    QRectF box;                      ///< On the board, in logical pixels.
    ProjectCardView *card = nullptr; ///< The item is the card or in it.
    qsizetype index = 0;             ///< Of the line in its card, or of the section.

    [[nodiscard]] Key key() const;
};

/// What the board has to show, in order.
struct BoardContent
{
    double bannerHeight = 0; ///< 0 where there is none.
    double focusCardHeight = 0;
    std::array<QList<ProjectCardView *>, allProjectSections.size()> sections;
    std::array<bool, allProjectSections.size()> haveReplied{}; ///< Whether any line of the section has.
};

/// How far the quiet lines and the rows of a card are unfolded. Rows that are not listed are folded.
struct CardExpansion
{
    double quietLines = 0;             ///< 0 to 1.
    QHash<QString, double> rowHeights; ///< By the lines' ids.
};

/// A section's heading.
struct BoardHeading
{
    ProjectSection section;
    qsizetype projects; ///< In it.
    bool hasReplied;    ///< Any of their lines has.

    bool operator==(const BoardHeading &) const = default;

    [[nodiscard]] Drawing compose(double width) const;
};

inline constexpr int boardPaddingX = 13; ///< The panel's edge is one more.

/// Places everything on a board of this width, from the top to the bottom, in the order of the focus: the rows of a
/// card come before the card, for its button. Replaces `items` (its memory is used again), sets the height and the
/// `itemIndex` of each card, and returns the height of the board.
double layoutBoard(const BoardContent &content, const QHash<const ProjectCardView *, CardExpansion> &expansions,
                   double width, std::vector<BoardItem> &items);
