#include "Plumtide/views/ProjectCardView.h"

#include "Plumtide/views/HStack.h"

#include <algorithm>
#include <chrono>
#include <cmath>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr double paddingLeftOfPending = 13;
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
qint64 nextChange(const QList<AgentTask> &lines, qint64 now)
{
    constexpr qint64 minute = std::chrono::milliseconds(1min).count();
    qint64 next = minute;
    for (const AgentTask &line : lines) {
        const qint64 intoMinute = (now - line.updatedAt.toMSecsSinceEpoch()) % minute;
        next = std::min(next, intoMinute > 0 ? minute - intoMinute : std::max<qint64>(1, -intoMinute));
    }
    return now + next;
}

} // namespace

bool ProjectCardView::shows(const ProjectGroup &group, const QString &excludeID, const QDateTime &now) const
{
    const qint64 present = now.toMSecsSinceEpoch();
    return group.revision == revision && present >= m_validFrom && present < m_validUntil && excludeID == excludedID;
}

void ProjectCardView::setGroup(const ProjectGroup &group, const QString &excludeID, const QDateTime &now)
{
    ProjectGroup shown = group;
    shown.lines.removeIf([&](const AgentTask &line) { return line.id == excludeID; });
    revision = group.revision;
    excludedID = excludeID;
    shownAt = now;
    m_validFrom = now.toMSecsSinceEpoch();
    m_validUntil = nextChange(shown.lines, m_validFrom);
    face = {.project = group.name,
            .age = shortAgo(std::ranges::max(shown.lines, {}, &AgentTask::updatedAt).updatedAt, now),
            .summary = shown.lines.size() >= 2 ? shown.summaryText(now) : QString(),
            .section = shown.section(now), // the board may show it in that of the line that is shown elsewhere
            .isUrgent = shown.isUrgent()};
    if (face.section == ProjectSection::pending)
        face.linesLeft = paddingLeftOfPending;
    linesTop = paddingY + Theme::face(nameStyle).lineHeight
        + (face.summary.isEmpty() ? 0 : gap + Theme::face(summaryStyle).lineHeight);
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
    const double inside = width - linesLeft - ProjectCardView::paddingX;

    drawing.addFace({.fill = Theme::card,
                     .radius = cardRadius,
                     .stroke = isUrgent ? Theme::faded(Theme::accent, 0.35) : Theme::border});
    HStack header(cardHeaderGap);
    header.dot(cardDotDiameter, Theme::projectColor(project));
    header.text(project, nameStyle, HStack::Shrink::First);
    header.spacer(headerSpacer);
    header.text(age, cardTimeStyle);
    const QRectF headerBox = header.place(drawing, {linesLeft, ProjectCardView::paddingY}, inside);
    if (!summary.isEmpty())
        drawing.addText({linesLeft, headerBox.bottom() + ProjectCardView::gap}, layText(summary, summaryStyle, inside));
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
    drawing.addButton(fold, {linesLeft, height - ProjectCardView::paddingY - foldHeight()}, composeButton(fold));
    return drawing;
}

double ProjectCardFace::foldHeight()
{
    static const double height = Theme::face(foldLook.style).lineHeight;
    return height;
}
