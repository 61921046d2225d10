#include "Plumtide/views/ProjectCardView.h"

#include "Plumtide/views/HStack.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <tuple>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr double paddingRight = 11;
constexpr double paddingLeft = 11;
constexpr double paddingLeftOfPending = 13;
constexpr double cardRadius = 10;
constexpr double cardDotDiameter = 7;
constexpr double cardHeaderGap = 6;
constexpr double headerSpacer = 8;
constexpr double barWidth = 3;
constexpr double cardUrgentBorderOpacity = 0.35;
constexpr double calmBarOpacity = 0.4;
constexpr double quietOpacity = 0.75;

constexpr TextStyle nameStyle{14, QFont::DemiBold, Theme::text, TextStyle::Design::Serif};
constexpr TextStyle cardTimeStyle{11, QFont::Normal, Theme::secondary};
constexpr TextStyle summaryStyle{11.5, QFont::Normal, Theme::secondary};
const Drawing::ButtonLook foldLook{.style = {11, QFont::Normal, Theme::secondary}};

// When the first minute of a line is full: every rule that looks at the time counts whole minutes.
qint64 nextChange(const ProjectGroup &group, qint64 now)
{
    constexpr qint64 minute = std::chrono::milliseconds(1min).count();
    qint64 next = minute;
    for (const AgentTask &line : group.lines) {
        const qint64 intoMinute = (now - line.updatedAt.toMSecsSinceEpoch()) % minute;
        next = std::min(next, intoMinute > 0 ? minute - intoMinute : std::max<qint64>(1, -intoMinute));
    }
    return now + next;
}

} // namespace

void ProjectCardView::setGroup(const ProjectGroup &group, const QString &excludeID, const QDateTime &now)
{
    const qint64 present = now.toMSecsSinceEpoch();
    if (group.revision == m_group.revision && present >= m_validFrom && present < m_validUntil
        && excludeID == m_excludeID)
        return;
    const auto drawn = [this] { return std::tuple(m_summary, m_time, m_isUrgent, m_section); };
    const auto before = drawn();
    m_group = group;
    if (!excludeID.isEmpty())
        m_group.lines.removeIf([&](const AgentTask &line) { return line.id == excludeID; });
    m_excludeID = excludeID;
    m_now = now;
    m_validFrom = present;
    m_validUntil = nextChange(m_group, present);
    m_section = m_group.section(now); // the board may show it in another, for the line that is shown elsewhere
    m_time = shortAgo(std::ranges::max(m_group.lines, {}, &AgentTask::updatedAt).updatedAt, now);
    m_isUrgent = m_group.isUrgent();
    m_summary = m_group.lines.size() >= 2 ? m_group.summaryText(now) : QString();
    m_linesTop = paddingY + Theme::face(nameStyle).lineHeight;
    if (!m_summary.isEmpty())
        m_linesTop += gap + Theme::face(summaryStyle).lineHeight;
    const qsizetype quietBefore = m_quietLines.size();
    m_quietLines = m_group.linesOf(LineRank::quiet, now);
    if (m_quietLines.size() != quietBefore)
        drawnFold.reset();
    m_activeLines = m_group.lines;
    m_activeLines.removeIf([&](const AgentTask &line) { return lineRank(line, now) == LineRank::quiet; });
    isDrawn = isDrawn && drawn() == before;
}

const AgentTask &ProjectCardView::line(qsizetype index) const
{
    return index < m_activeLines.size() ? m_activeLines.at(index) : m_quietLines.at(index - m_activeLines.size());
}

double ProjectCardView::opacity() const
{
    return m_section == ProjectSection::quiet ? quietOpacity : 1;
}

double ProjectCardView::left() const
{
    return m_section == ProjectSection::pending ? paddingLeftOfPending : paddingLeft;
}

double ProjectCardView::lineWidth(double width) const
{
    return std::floor(width - left() - paddingRight);
}

Drawing ProjectCardView::compose(QSizeF size) const
{
    Drawing drawing;
    drawing.size = size;
    const QRectF face({0, 0}, size);
    const double inside = size.width() - left() - paddingRight;

    drawing.add(face, Drawing::Box{.fill = Theme::card, .radius = cardRadius});
    HStack header(cardHeaderGap);
    header.dot(cardDotDiameter, Theme::projectColor(m_group.name));
    header.text(m_group.name, nameStyle, HStack::Shrink::First);
    header.spacer(headerSpacer);
    header.text(m_time, cardTimeStyle);
    const QRectF headerBox = header.place(drawing, {left(), paddingY}, inside);
    if (!m_summary.isEmpty())
        drawing.addText({left(), headerBox.bottom() + gap}, layText(m_summary, summaryStyle, inside));
    drawing.addBorder(face, cardRadius,
                      m_isUrgent ? Theme::faded(Theme::accent, cardUrgentBorderOpacity) : Theme::border, 1);
    if (m_section == ProjectSection::pending) {
        QPainterPath outline;
        outline.addRoundedRect(face, cardRadius, cardRadius);
        drawing.add(
            QRectF(0, 0, barWidth, face.height()),
            Drawing::Box{.fill = Theme::faded(Theme::accent, m_isUrgent ? 1 : calmBarOpacity), .outline = outline});
    }
    return drawing;
}

double ProjectCardView::foldHeight()
{
    static const double height = Theme::face(foldLook.style).lineHeight;
    return height;
}

Drawing ProjectCardView::composeFold(bool isOpen) const
{
    const Drawing::Button fold{.name = u"fold"_s,
                               .text = isOpen ? u"收起"_s : u"还有 %1 条暂时没新动静"_s.arg(m_quietLines.size()),
                               .look = foldLook,
                               .icon = isOpen ? u"chevron-up"_s : u"chevron-down"_s,
                               .subject = m_group.name};
    Drawing drawing;
    Drawing face = composeButton(fold);
    drawing.size = face.size;
    drawing.addButton(fold, {0, 0}, std::move(face));
    return drawing;
}
