#include "Plumtide/views/LineRowView.h"

#include "Plumtide/system/Characters.h"
#include "Plumtide/views/Accessibility.h"
#include "Plumtide/views/HStack.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double rowPaddingY = 2;
constexpr double lineGap = 4;
constexpr double rowItemGap = 6;
constexpr double rowDotDiameter = 5;
constexpr double titleSpacer = 8;
constexpr double spinSize = 9;
constexpr double turnSize = 8;
constexpr int expandedLines = 3;
constexpr double quietDotOpacity = 0.35;
constexpr double waitingDotOpacity = 0.45;

constexpr double bodyIndent = 11;
constexpr double bodyTop = 2;
constexpr double bodyGap = 7;
constexpr double eventGap = 3;
constexpr int eventLines = 2;
constexpr double buttonsTop = 2;
constexpr double rowButtonGap = 8;

constexpr TextStyle rowTitleStyle{12.5, QFont::Medium, Theme::text};
constexpr TextStyle rowTimeStyle{10.5, QFont::Normal, Theme::secondary};
constexpr TextStyle activityStyle{12, QFont::Normal, Theme::secondary};
constexpr TextStyle purposeLabelStyle{12, QFont::DemiBold, Theme::accent};
constexpr TextStyle purposeStyle{12, QFont::Normal, Theme::text};
constexpr TextStyle eventStyle{11.5, QFont::Normal, Theme::secondary};

const Drawing::ButtonLook actionLook{.style = {11, QFont::Medium, Theme::text},
                                     .paddingX = 9,
                                     .paddingY = 5,
                                     .fill = Theme::bg,
                                     .radius = 7,
                                     .border = Theme::border};

constexpr TextStyle inColor(TextStyle style, QColor color)
{
    style.color = color;
    return style;
}

bool isQuiet(const AgentTask &line, const QDateTime &now)
{
    return line.status == AgentTaskStatus::shelved || line.isFaded(now);
}

QColor dotColor(const AgentTask &line, const QDateTime &now)
{
    if (isQuiet(line, now))
        return Theme::faded(Theme::secondary, quietDotOpacity);
    if (line.isUrgent() || line.isStuck(now))
        return Theme::accent;
    if (line.status == AgentTaskStatus::waiting)
        return Theme::faded(Theme::accent, waitingDotOpacity);
    return Theme::secondary;
}

QString activityText(const AgentTask &line, const QDateTime &now)
{
    if (line.isStuck(now))
        return u"在跑，但 %1 分钟没动静了，可能卡住了"_s.arg(line.updatedAt.secsTo(now) / 60);
    if (line.isFaded(now))
        return u"这一轮已经结束"_s;
    if (line.status == AgentTaskStatus::shelved)
        return u"已搁置"_s;
    return line.waitingReason.value_or(line.currentState);
}

QString spokenBody(const AgentTask &line)
{
    QStringList parts = line.recentEvents;
    if (!line.purpose.isEmpty())
        parts.prepend(u"目标："_s + line.purpose);
    std::ranges::transform(parts, parts.begin(), shortened);
    return parts.join(u"\n"_s);
}

} // namespace

LineRowView::LineRowView(const QString &id, QWidget *parent) : DrawnView(QAccessible::ListItem, parent)
{
    m_line.id = id;
    setObjectName(id);
    setSubject(id);
    setPressable();
}

QString LineRowView::spokenName(const AgentTask &line, const QDateTime &now)
{
    QStringList parts{line.title, label(line.source), activityText(line, now), shortAgo(line.updatedAt, now)};
    parts.removeAll(QString());
    std::ranges::transform(parts, parts.begin(), shortened);
    return parts.join(u"，"_s);
}

int LineRowView::foldedHeight()
{
    const auto line = [](const TextStyle &style) { return Theme::face(style).lineHeight; };
    static const int height =
        static_cast<int>(rowPaddingY + line(rowTitleStyle) + lineGap + line(activityStyle) + rowPaddingY);
    return height;
}

int LineRowView::unfoldedHeight() const
{
    return static_cast<int>(std::lround(drawing().size.height()));
}

bool LineRowView::shows(const AgentTask &line, const QDateTime &now) const
{
    return m_now.isValid() && line == m_line && spokenName(line, now) == spokenName(line, m_now)
        && line.isStuck(now) == line.isStuck(m_now);
}

void LineRowView::show(const AgentTask &line, const QDateTime &now, int width, bool isExpanded, bool hasBody)
{
    QAccessible::State changed;
    changed.expanded = m_isExpanded != isExpanded;
    if (shows(line, now) && width == m_width && !changed.expanded && hasBody == m_hasBody)
        return;
    const bool isUnfolding = m_now.isValid() && changed.expanded && isExpanded;
    m_line = line;
    m_now = now;
    m_width = width;
    m_isExpanded = isExpanded;
    m_hasBody = hasBody;
    setAccessibleName(spokenName(line, now));
    // The goal and the events are heard when the row is unfolded, like they are seen.
    setAccessibleDescription(isExpanded ? spokenBody(line) : QString());
    setDrawing(compose(width));
    tellState(changed);
    if (isUnfolding)
        announce(*this, u"已展开\n"_s + spokenBody(line));
}

Drawing LineRowView::compose(int width) const
{
    Drawing drawing;
    const int maxLines = m_hasBody ? expandedLines : 1; // until it is folded
    HStack title(rowItemGap);
    title.dot(rowDotDiameter, dotColor(m_line, m_now));
    title.text(m_line.title, inColor(rowTitleStyle, isQuiet(m_line, m_now) ? Theme::secondary : Theme::text),
               HStack::Shrink::First, maxLines);
    title.sourceChip(m_line.source);
    title.spacer(titleSpacer);
    if (m_line.status == AgentTaskStatus::running && !m_line.isStuck(m_now))
        title.icon(u"cycle"_s, spinSize, Theme::secondary);
    title.text(shortAgo(m_line.updatedAt, m_now), rowTimeStyle);
    double y = title.place(drawing, {0, rowPaddingY}, width).bottom();

    const bool isCalling = m_line.isStuck(m_now) || m_line.isUrgent();
    HStack activity(rowItemGap);
    activity.icon(u"turn-down-right"_s, turnSize, Theme::secondary);
    activity.text(activityText(m_line, m_now), inColor(activityStyle, isCalling ? Theme::accent : Theme::secondary),
                  HStack::Shrink::First, maxLines);
    y = activity.place(drawing, {0, y + lineGap}, width).bottom();
    if (m_hasBody)
        y = composeBody(drawing, y + lineGap + bodyTop, width);
    drawing.size = {static_cast<double>(width), y + rowPaddingY};
    return drawing;
}

double LineRowView::composeBody(Drawing &drawing, double y, int width) const
{
    const double inside = width - bodyIndent;
    if (!m_line.purpose.isEmpty())
        y = bodyGap
            + drawing.addText(
                {bodyIndent, y},
                ShapedText(u"目标  "_s, purposeLabelStyle, m_line.purpose, purposeStyle).block(inside, 0));
    for (const QString &event : m_line.recentEvents)
        y = eventGap + drawing.addText({bodyIndent, y}, layText(event, eventStyle, inside, eventLines));
    if (!m_line.recentEvents.isEmpty())
        y += bodyGap - eventGap;

    const bool isShelved = m_line.status == AgentTaskStatus::shelved;
    const bool isAgents = m_line.isAgentLine();
    HStack buttons(rowButtonGap);
    const auto add = [&](Drawing::Button button) {
        button.subject = m_line.id;
        buttons.button(button);
    };
    add({.name = u"copy"_s, .text = u"复制名称"_s, .look = actionLook, .icon = u"copy"_s, .flash = u"已复制"_s});
    add({.name = u"edit"_s, .text = u"编辑"_s, .look = actionLook, .icon = u"pencil"_s});
    add({.name = u"shelve"_s,
         .text = isShelved ? u"恢复"_s : u"搁置"_s,
         .look = actionLook,
         .icon = isShelved ? u"u-turn-up"_s : u"tray-down"_s});
    add({.name = u"close"_s,
         .text = isAgents ? u"归档"_s : u"完成"_s,
         .look = actionLook,
         .icon = isAgents ? u"archive-box"_s : u"check"_s});
    return buttons.place(drawing, {bodyIndent, y + buttonsTop}, inside).bottom();
}
