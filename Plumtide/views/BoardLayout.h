#pragma once

#include "Plumtide/views/ProjectCardView.h"

#include <QHash>

#include <array>
#include <compare>
#include <vector>

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

    bool operator==(const BoardHeading &) const = default;

    [[nodiscard]] Drawing compose(double width) const;
};

inline constexpr int boardPaddingX = 13; ///< The panel's edge is one more.

/// Places everything on a board of this width, from the top to the bottom, in the order of the focus: the rows of a
/// card come before the card, for its button. Replaces `items` (its memory is used again), sets the height and the
/// `itemIndex` of each card, and returns the height of the board.
double layoutBoard(const BoardContent &content, const QHash<const ProjectCardView *, CardExpansion> &expansions,
                   double width, std::vector<BoardItem> &items);
