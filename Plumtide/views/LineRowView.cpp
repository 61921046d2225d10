#include "Plumtide/views/LineRowView.h"

#include "Plumtide/system/Characters.h"
#include "Plumtide/views/HStack.h"

#include <algorithm>

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

const Drawing::ButtonLook actionLook{
    .style = {11, QFont::Medium, Theme::text}, .padding = {9, 5}, .face = {Theme::bg, 7, Theme::border}};

bool isQuiet(const AgentTask &line, const QDateTime &now)
{
    return line.status == AgentTaskStatus::shelved || line.isFaded(now);
}

QColor dotColor(const AgentTask &line, const QDateTime &now)
{
    if (isQuiet(line, now))
        return Theme::faded(Theme::secondary, 0.35);
    if (line.isUrgent() || line.isStuck(now))
        return Theme::accent;
    if (line.status == AgentTaskStatus::waiting)
        return Theme::faded(Theme::accent, 0.45);
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

// Returns the y below it.
double addBody(Drawing &drawing, const AgentTask &line, const QString &folder, double y, double width)
{
    const double inside = width - bodyIndent;
    if (!line.purpose.isEmpty())
        y = bodyGap
            + drawing.addText({bodyIndent, y},
                              ShapedText(u"目标  "_s, purposeLabelStyle, line.purpose, purposeStyle).block(inside, 0));
    for (const QString &event : line.recentEvents)
        y = eventGap + drawing.addText({bodyIndent, y}, layText(event, eventStyle, inside, eventLines));
    if (!line.recentEvents.isEmpty())
        y += bodyGap - eventGap;
    if (!folder.isEmpty()) {
        TextBlock text = layText(folder, eventStyle, inside, 0);
        Drawing face;
        face.size = text.size;
        face.addText({0, 0}, std::move(text));
        y = bodyGap
            + drawing.addButton({.command = LineCommand{LineAction::CopyFolder, line.id},
                                 .text = folder,
                                 .look = {.style = eventStyle},
                                 .doneText = u"已复制"_s,
                                 .hint = u"复制路径"_s},
                                {bodyIndent, y}, std::move(face));
    }

    HStack buttons(rowButtonGap);
    for (const OfferedAction &offered : actionsFor(line)) {
        if (!offered.icon.isEmpty())
            buttons.button({.command = LineCommand{offered.action, line.id},
                            .text = offered.text,
                            .look = actionLook,
                            .icon = offered.icon,
                            .doneText = offered.doneText});
    }
    return buttons.place(drawing, {bodyIndent, y + buttonsTop}, inside).bottom();
}

} // namespace

bool LineRowView::operator==(const LineRowView &other) const
{
    return line == other.line && isExpanded == other.isExpanded && hasBody == other.hasBody && folder == other.folder
        && spokenName() == other.spokenName();
}

QString LineRowView::spokenName() const
{
    QStringList parts{line.title, label(line.source), activityText(line, now), shortAgo(line.updatedAt, now)};
    parts.removeAll(QString());
    std::ranges::transform(parts, parts.begin(), shortened);
    return parts.join(u"，"_s);
}

QString LineRowView::spokenBody() const
{
    QStringList parts = line.recentEvents;
    if (!line.purpose.isEmpty())
        parts.prepend(u"目标："_s + line.purpose);
    if (!folder.isEmpty())
        parts.append(folder);
    std::ranges::transform(parts, parts.begin(), shortened);
    return parts.join(u"\n"_s);
}

double LineRowView::foldedHeight()
{
    static const double height = rowPaddingY + Theme::face(rowTitleStyle).lineHeight + lineGap
        + Theme::face(activityStyle).lineHeight + rowPaddingY;
    return height;
}

Drawing LineRowView::compose(double width) const
{
    Drawing drawing;
    const int maxLines = hasBody ? expandedLines : 1;
    HStack title(rowItemGap);
    title.dot(rowDotDiameter, dotColor(line, now));
    title.text(line.title, rowTitleStyle.in(isQuiet(line, now) ? Theme::secondary : Theme::text), HStack::Shrink::First,
               maxLines);
    title.sourceChip(line.source);
    title.spacer(titleSpacer);
    if (line.status == AgentTaskStatus::running && !line.isStuck(now))
        title.icon(u"cycle"_s, spinSize, Theme::secondary);
    title.text(shortAgo(line.updatedAt, now), rowTimeStyle);
    double y = title.place(drawing, {0, rowPaddingY}, width).bottom();

    const bool needsUser = line.isStuck(now) || line.isUrgent();
    HStack activity(rowItemGap);
    activity.icon(u"turn-down-right"_s, turnSize, Theme::secondary);
    activity.text(activityText(line, now), activityStyle.in(needsUser ? Theme::accent : Theme::secondary),
                  HStack::Shrink::First, maxLines);
    y = activity.place(drawing, {0, y + lineGap}, width).bottom();
    if (hasBody)
        y = addBody(drawing, line, folder, y + lineGap + bodyTop, width);
    drawing.size = {width, y + rowPaddingY};
    return drawing;
}
