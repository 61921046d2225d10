#include "Plumtide/views/OnboardingBanner.h"

#include "Plumtide/views/HStack.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

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
