#include "Plumtide/views/BoardCards.h"

#include "Plumtide/views/HStack.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double focusPadding = 14;
constexpr double focusGap = 8;
constexpr double focusRadius = 12;
constexpr double focusDotDiameter = 8;
constexpr double focusItemGap = 8;
constexpr double focusButtonGap = 6;
constexpr double borderWidth = 1.5;
constexpr int reasonLines = 2;
const Drawing::Shadow focusShadow{Theme::faded(Theme::accent, 0.07), 6, {0, 2}};

constexpr TextStyle focusLabelStyle{11, QFont::Bold, Theme::accent, TextStyle::Design::Sans, 2};
constexpr TextStyle focusTimeStyle{11, QFont::Normal, Theme::secondary};
constexpr TextStyle focusProjectStyle{18, QFont::DemiBold, Theme::text, TextStyle::Design::Serif};
constexpr TextStyle focusTitleStyle{12, QFont::Normal, Theme::secondary};
constexpr TextStyle reasonStyle{12.5, QFont::Normal, Theme::secondary};
const Drawing::ButtonLook smallLook{
    .style = {11, QFont::Medium, Theme::text}, .padding = {8, 4}, .face = {Theme::bg, 6, Theme::border}};

constexpr double allClearPaddingY = 18;
constexpr double allClearGap = 4;
constexpr TextStyle headlineStyle{15, QFont::DemiBold, Theme::text, TextStyle::Design::Serif};
constexpr TextStyle hintStyle{12, QFont::Normal, Theme::secondary};

Drawing composeAllClear(std::optional<TaskSource> silentSource, double width)
{
    QString headline = u"现在没有需要你处理的事"_s;
    QString hint = u"有新进展我会告诉你 ☕"_s;
    if (silentSource == TaskSource::claude) {
        headline = u"Claude Code 已接入，还没收到第一条消息"_s;
        hint = u"开个新的 Claude Code 会话（不是网页版聊天），说句话就会出现在这里。"_s;
    } else if (silentSource == TaskSource::codex) {
        headline = u"Codex 已接入，还没收到消息"_s;
        hint = u"重启 Codex 后，发一轮消息就会出现在这里。"_s;
    }
    Drawing drawing;
    const auto addCentred = [&](double y, const QString &text, const TextStyle &style) {
        TextBlock block = layText(text, style, width, 0, Qt::AlignHCenter);
        const double left = (width - block.size.width()) / 2;
        return drawing.addText({left, y}, std::move(block));
    };
    const double y = addCentred(allClearPaddingY, headline, headlineStyle) + allClearGap;
    drawing.size = {width, std::round(addCentred(y, hint, hintStyle) + allClearPaddingY)};
    drawing.addFace(
        {.fill = Theme::faded(Theme::card, 0.6), .radius = focusRadius, .stroke = Theme::border, .isDashed = true});
    return drawing;
}

constexpr double bannerPadding = 12;
constexpr double bannerGap = 8;
constexpr double bannerRadius = 10;

constexpr TextStyle bannerHeadingStyle{12, QFont::Bold, Theme::accent};
constexpr TextStyle bannerTitleStyle{12.5, QFont::Normal, Theme::text};
constexpr TextStyle messageStyle{11, QFont::Normal, Theme::secondary};
const Drawing::ButtonLook connectLook{
    .style = {11, QFont::DemiBold, Theme::onAccent}, .padding = {10, 4}, .face = {Theme::accent, 6}};

// Returns the y below the row.
double onboardingRow(Drawing &drawing, PanelCommand command, const QString &tool, double y, double width)
{
    HStack row(0);
    row.text(tool + u" 还没接入"_s, bannerTitleStyle);
    row.spacer();
    row.button({.command = command, .text = u"一键接入"_s, .look = connectLook, .description = tool});
    return row.place(drawing, {bannerPadding, y + bannerGap}, width).bottom();
}

} // namespace

Drawing FocusCardView::compose(double width) const
{
    if (!line)
        return composeAllClear(silentSource, width);
    const AgentTask &task = *line;
    Drawing drawing;
    const double inside = width - 2 * focusPadding;
    HStack head(0);
    head.text(u"下一步"_s, focusLabelStyle);
    head.spacer();
    head.text(age, focusTimeStyle);
    double y = head.place(drawing, {focusPadding, focusPadding}, inside).bottom() + focusGap;

    HStack project(focusItemGap);
    project.dot(focusDotDiameter, Theme::projectColor(task.project));
    project.text(task.project, focusProjectStyle, HStack::Shrink::First);
    project.sourceChip(task.source);
    y = project.place(drawing, {focusPadding, y}, inside).bottom() + focusGap;
    if (task.title != task.project)
        y = drawing.addText({focusPadding, y}, layText(task.title, focusTitleStyle, inside)) + focusGap;
    if (task.waitingReason) {
        const TextStyle style = reasonStyle.in(task.isUrgent() ? Theme::accent : Theme::secondary);
        y = drawing.addText({focusPadding, y}, layText(*task.waitingReason, style, inside, reasonLines)) + focusGap;
    }

    HStack buttons(focusButtonGap);
    for (const LineAction action : {LineAction::CopyTitle, LineAction::Edit, LineAction::Close}) {
        const OfferedAction offered = offeredAction(action, task).value();
        // Codex lines are offered "完成" here, "归档" in their rows.
        const bool isCodexEnd = action == LineAction::Close && task.agent() == TaskSource::codex;
        buttons.button({.command = LineCommand{action, task.id},
                        .text = isCodexEnd ? u"完成"_s : offered.text,
                        .look = smallLook,
                        .doneText = offered.doneText});
    }
    y = buttons.place(drawing, {focusPadding + inside - buttons.size().width(), y}, inside).bottom();

    drawing.size = {width, std::round(y + focusPadding)};
    drawing.addFace({.fill = Theme::card,
                     .radius = focusRadius,
                     .stroke = Theme::faded(Theme::accent, task.isUrgent() ? 0.55 : 0.3),
                     .strokeWidth = borderWidth,
                     .shadow = focusShadow});
    return drawing;
}

Drawing OnboardingBanner::compose(double width) const
{
    Drawing drawing;
    const double padding = isCard() ? bannerPadding : 0;
    const double inside = width - 2 * padding;
    double y = padding;
    if (isCard())
        y = drawing.addText({padding, y}, layText(u"接入数据源"_s, bannerHeadingStyle, inside));
    if (needsClaude)
        y = onboardingRow(drawing, PanelCommand::ConnectClaude, u"Claude Code"_s, y, inside);
    if (needsCodex)
        y = onboardingRow(drawing, PanelCommand::ConnectCodex, u"Codex"_s, y, inside);
    if (message)
        y = drawing.addText({padding, y + (isCard() ? bannerGap : 0)}, layText(*message, messageStyle, inside, 0));
    drawing.size = {width, std::round(y + padding)};
    if (isCard())
        drawing.addFace({.fill = Theme::faded(Theme::accent, 0.07),
                         .radius = bannerRadius,
                         .stroke = Theme::faded(Theme::accent, 0.25)});
    return drawing;
}
