#include "Plumtide/views/BoardLayout.h"

#include "Plumtide/views/HStack.h"
#include "Plumtide/views/LineRowView.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int boardPaddingY = 14;
constexpr int boardGap = 14;
constexpr int sectionGap = 8;

constexpr double headingDotDiameter = 7;
constexpr double headingItemGap = 6;
constexpr TextStyle headingStyle{12, QFont::DemiBold, Theme::secondary};

// `expansion` is null where all of the card is folded. Returns the y below it.
double layoutCard(ProjectCardView &card, const CardExpansion *expansion, QRectF box, std::vector<BoardItem> &items)
{
    const std::size_t first = items.size();
    const double unfolded = !card.canFold() ? 1 : expansion ? expansion->quietLines : 0;
    const double width = card.lineWidth(box.width());
    const double folded = LineRowView::foldedHeight();
    double y = box.top() + card.linesTop;
    double activeEnd = y;
    for (qsizetype i = 0; i < card.rowCount(unfolded); ++i) {
        const double height = expansion ? expansion->rowHeights.value(card.lines.at(i).id, folded) : folded;
        const QRectF row(box.left() + card.face.linesLeft, y + ProjectCardView::gap, width, height);
        items.push_back({.kind = BoardItem::Kind::Row, .box = row, .card = &card, .index = i});
        y = row.bottom();
        activeEnd = i < card.activeCount ? y : activeEnd;
    }
    // Quiet lines are cut off at the height that the fold has at the moment.
    const double end = std::round(activeEnd + (y - activeEnd) * unfolded);
    for (std::size_t i = first; end < y && i < items.size(); ++i)
        items[i].box.setBottom(std::max(items[i].box.top(), std::min(items[i].box.bottom(), end)));
    const double fold = card.canFold() ? ProjectCardView::gap + ProjectCardFace::foldHeight() : 0;
    box.setHeight(std::round(end + fold + ProjectCardView::paddingY - box.top()));
    card.face.height = box.height();
    card.itemIndex = static_cast<qsizetype>(items.size());
    items.push_back({.kind = BoardItem::Kind::Card, .box = box, .card = &card});
    return box.bottom();
}

} // namespace

BoardItem::Key BoardItem::key() const
{
    return {kind, kind == Kind::Row ? card->lines.at(index).id : card ? card->face.project : QString::number(index)};
}

Drawing BoardHeading::compose(double width) const
{
    const bool isQuiet = section == ProjectSection::quiet;
    const TextStyle style = headingStyle.in(section == ProjectSection::pending ? Theme::accent : Theme::secondary);
    HStack row(headingItemGap);
    row.dot(headingDotDiameter, isQuiet ? Theme::faded(style.color, 0.6) : style.color);
    row.text(label(section), style);
    row.text(QString::number(projects), style);
    Drawing drawing;
    drawing.size = row.place(drawing, {0, 0}, width).size();
    return drawing;
}

double layoutBoard(const BoardContent &content, const QHash<const ProjectCardView *, CardExpansion> &expansions,
                   double width, std::vector<BoardItem> &items)
{
    using enum BoardItem::Kind;
    items.clear();
    double y = boardPaddingY;
    const auto place = [&](double height) { return QRectF(boardPaddingX, y, width - 2 * boardPaddingX, height); };
    const auto add = [&](BoardItem::Kind kind, double height, double gap, std::size_t index = 0) {
        items.push_back({.kind = kind, .box = place(height), .index = static_cast<qsizetype>(index)});
        y += height + gap;
    };
    if (content.bannerHeight > 0)
        add(Banner, content.bannerHeight, boardGap);
    add(FocusCard, content.focusCardHeight, 0);
    for (std::size_t i = 0; i < content.sections.size(); ++i) {
        if (content.sections[i].isEmpty())
            continue;
        y += boardGap;
        add(Heading, Theme::face(headingStyle).lineHeight, 0, i);
        for (ProjectCardView *card : content.sections[i]) {
            y += sectionGap;
            const auto expansion = expansions.constFind(card);
            y = layoutCard(*card, expansion == expansions.cend() ? nullptr : &*expansion, place(0), items);
        }
    }
    return y + boardPaddingY;
}
