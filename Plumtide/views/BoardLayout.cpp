#include "Plumtide/views/BoardLayout.h"

#include "Plumtide/views/HStack.h"
#include "Plumtide/views/LineRowView.h"

#include <algorithm>
#include <chrono>
#include <cmath>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int boardPaddingY = 14;
constexpr int boardGap = 14;
constexpr int sectionGap = 8;

constexpr double headingDotDiameter = 7;
constexpr double headingItemGap = 6;
constexpr TextStyle headingStyle{12, QFont::DemiBold, Theme::secondary};

constexpr double cardPaddingY = 10;
constexpr double cardGap = 8; // between its header, its lines and the fold
constexpr double cardRadius = 10;
constexpr double cardDotDiameter = 7;
constexpr double cardHeaderGap = 6;
constexpr double headerSpacer = 8;
constexpr double barWidth = 3;

constexpr TextStyle nameStyle{14, QFont::DemiBold, Theme::text, TextStyle::Design::Serif};
constexpr TextStyle cardTimeStyle{11, QFont::Normal, Theme::secondary};
constexpr TextStyle summaryStyle{11.5, QFont::Normal, Theme::secondary};
const Drawing::ButtonLook foldLook{.style = {11, QFont::Normal, Theme::secondary}};

// When the age of a line in whole minutes changes next; every rule about the time counts whole minutes.
qint64 nextChange(const QList<AgentTask> &lines, const QDateTime &now)
{
    constexpr qint64 minute = std::chrono::milliseconds(1min).count();
    qint64 next = minute;
    for (const AgentTask &line : lines) {
        const qint64 intoMinute = line.updatedAt.msecsTo(now) % minute;
        next = std::min(next, intoMinute > 0 ? minute - intoMinute : std::max<qint64>(1, -intoMinute));
    }
    return now.toMSecsSinceEpoch() + next;
}

// `expansion` is null where all of the card is folded. Returns the y below it.
double layoutCard(ProjectCardView &card, const CardExpansion *expansion, QRectF box, std::vector<BoardItem> &items)
{
    const std::size_t first = items.size();
    const double unfolded = !card.canFold() ? 1 : expansion ? expansion->quietLines : 0;
    const double width = card.face.innerWidth(box.width());
    const double folded = LineRowView::foldedHeight();
    static const double headerHeight = cardPaddingY + Theme::face(nameStyle).lineHeight;
    static const double summaryHeight = cardGap + Theme::face(summaryStyle).lineHeight;
    static const double foldHeight = cardGap + Theme::face(foldLook.style).lineHeight;
    double y = box.top() + headerHeight + (card.face.summary.isEmpty() ? 0 : summaryHeight);
    double activeEnd = y;
    for (qsizetype i = 0; i < card.rowCount(unfolded); ++i) {
        const double height = expansion ? expansion->rowHeights.value(card.lines.at(i).id, folded) : folded;
        const QRectF row(box.left() + card.face.innerLeft(), y + cardGap, width, height);
        items.push_back({.kind = BoardItem::Kind::Row, .box = row, .card = &card, .index = i});
        y = row.bottom();
        activeEnd = i < card.activeCount ? y : activeEnd;
    }
    // Quiet lines are cut off at the height that the fold has at the moment.
    const double end = std::round(activeEnd + (y - activeEnd) * unfolded);
    for (std::size_t i = first; end < y && i < items.size(); ++i)
        items[i].box.setBottom(std::max(items[i].box.top(), std::min(items[i].box.bottom(), end)));
    box.setHeight(std::round(end + (card.canFold() ? foldHeight : 0) + cardPaddingY - box.top()));
    card.face.height = box.height();
    card.itemIndex = static_cast<qsizetype>(items.size());
    items.push_back({.kind = BoardItem::Kind::Card, .box = box, .card = &card});
    return box.bottom();
}

} // namespace

bool ProjectCardView::shows(const ProjectGroup &group, const QString &excludeID, const QDateTime &now) const
{
    const qint64 time = now.toMSecsSinceEpoch();
    return group.revision == revision && time >= validFrom && time < validUntil && excludeID == excludedID;
}

void ProjectCardView::setGroup(const ProjectGroup &group, const QString &excludeID, const QDateTime &now)
{
    ProjectGroup shown = group;
    shown.lines.removeIf([&](const AgentTask &line) { return line.id == excludeID; });
    revision = group.revision;
    excludedID = excludeID;
    shownAt = now;
    validFrom = now.toMSecsSinceEpoch();
    validUntil = nextChange(shown.lines, now);
    face = {.project = group.name,
            .age = shortAgo(std::ranges::max(shown.lines, {}, &AgentTask::updatedAt).updatedAt, now),
            .summary = shown.lines.size() >= 2 ? shown.summaryText(now) : QString(),
            .section = shown.section(now), // the board may show it in that of the line that is shown elsewhere
            .isUrgent = shown.isUrgent()};
    lines = std::move(shown.lines);
    const auto isActive = [&](const AgentTask &line) { return lineRank(line, now) != LineRank::quiet; };
    activeCount = std::stable_partition(lines.begin(), lines.end(), isActive) - lines.begin();
    face.foldedLines = activeCount > 0 ? lines.size() - activeCount : 0;
}

qsizetype ProjectCardView::indexOf(const QString &id) const
{
    const auto at = std::ranges::find(lines, id, &AgentTask::id);
    return at == lines.end() ? -1 : at - lines.begin();
}

Drawing ProjectCardFace::compose(double width) const
{
    Drawing drawing;
    drawing.size = {width, height};
    drawing.addFace({.fill = Theme::card,
                     .radius = cardRadius,
                     .stroke = isUrgent ? Theme::faded(Theme::accent, 0.35) : Theme::border});
    HStack header(cardHeaderGap);
    header.dot(cardDotDiameter, Theme::projectColor(project));
    header.text(project, nameStyle, HStack::Shrink::First);
    header.spacer(headerSpacer);
    header.text(age, cardTimeStyle);
    const QRectF headerBox = header.place(drawing, {innerLeft(), cardPaddingY}, innerWidth(width));
    if (!summary.isEmpty())
        drawing.addText({innerLeft(), headerBox.bottom() + cardGap}, layText(summary, summaryStyle, innerWidth(width)));
    if (section == ProjectSection::pending) {
        QPainterPath outline;
        outline.addRoundedRect(0, 0, width, height, cardRadius, cardRadius);
        drawing.add({0, 0, barWidth, height},
                    Drawing::Box{.fill = Theme::faded(Theme::accent, isUrgent ? 1 : 0.4), .outline = outline});
    }
    if (foldedLines == 0)
        return drawing;
    const Drawing::Button fold{.command = ToggleFold{project},
                               .text = isFoldOpen ? u"收起"_s : u"还有 %1 条暂时没新动静"_s.arg(foldedLines),
                               .look = foldLook,
                               .icon = isFoldOpen ? u"chevron-up"_s : u"chevron-down"_s};
    Drawing face = composeButton(fold);
    const QPointF foldPlace(innerLeft(), height - cardPaddingY - face.size.height());
    drawing.addButton(fold, foldPlace, std::move(face));
    return drawing;
}

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
