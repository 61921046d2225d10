#include "Plumtide/views/OnboardingBanner.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/views/DrawnButton.h"
#include "Plumtide/views/HStack.h"

#include <algorithm>
#include <chrono>
#include <cmath>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr double bannerPadding = 12;
constexpr double bannerGap = 8;
constexpr double bannerRadius = 10;
constexpr double bannerFillOpacity = 0.07;
constexpr double borderOpacity = 0.25;
constexpr auto messageTime = 4s;

constexpr TextStyle bannerHeadingStyle{12, QFont::Bold, Theme::accent};
constexpr TextStyle bannerTitleStyle{12.5, QFont::Normal, Theme::text};
constexpr TextStyle messageStyle{11, QFont::Normal, Theme::secondary};

const DrawnButton::Look connectLook{
    .style = {11, QFont::DemiBold, Theme::onAccent}, .paddingX = 10, .paddingY = 4, .fill = Theme::accent, .radius = 6};

} // namespace

OnboardingBanner::OnboardingBanner(HooksInstaller &installer, QWidget *parent)
    : DrawnView(parent), m_installer(installer)
{
    setObjectName(u"banner"_s);
    const auto makeButton = [this](const QString &name, const QString &spoken) {
        auto *button = new DrawnButton(u"一键接入"_s, {}, connectLook, this);
        button->setObjectName(name);
        button->setAccessibleDescription(spoken);
        return button;
    };
    m_rows = {
        {"row.claude.title", u"Claude Code 还没接入"_s, makeButton(u"banner.row.claude.button"_s, u"Claude Code"_s)},
        {"row.codex.title", u"Codex 还没接入"_s, makeButton(u"banner.row.codex.button"_s, u"Codex"_s)}};
    connect(m_rows[0].button, &QAbstractButton::clicked, this, [this] { m_installer.installClaude(); });
    connect(m_rows[1].button, &QAbstractButton::clicked, this, [this] { m_installer.installCodex(); });
}

bool OnboardingBanner::isCard() const
{
    return std::ranges::any_of(m_rows, &Row::isNeeded);
}

void OnboardingBanner::refresh()
{
    const bool needsClaude = !m_installer.claudeInstalled();
    const bool needsCodex = !m_installer.codexInstalled();
    if (m_rows[0].isNeeded == needsClaude && m_rows[1].isNeeded == needsCodex && m_message == m_installer.message())
        return;
    m_rows[0].isNeeded = needsClaude;
    m_rows[1].isNeeded = needsCodex;
    m_message = m_installer.message();
    const bool showsMessageOnly = !isCard() && m_message;
    if (showsMessageOnly && !m_showsMessageOnly)
        QTimer::singleShot(messageTime, this, [this] { m_installer.clearMessage(); });
    m_showsMessageOnly = showsMessageOnly;
    for (const Row &row : std::as_const(m_rows))
        row.button->setVisible(row.isNeeded);
    redraw();
}

int OnboardingBanner::layOut(int width)
{
    Drawing drawing;
    return static_cast<int>(std::lround(draw(drawing, width)));
}

void OnboardingBanner::compose(Drawing &drawing)
{
    const QRectF face(rect());
    if (isCard())
        drawing.add("card", face,
                    Drawing::Box{.fill = Theme::faded(Theme::accent, bannerFillOpacity), .radius = bannerRadius});
    draw(drawing, face.width());
    if (isCard())
        drawing.addBorder("border", face, bannerRadius, Theme::faded(Theme::accent, borderOpacity), 1);
}

// The height.
double OnboardingBanner::draw(Drawing &drawing, double width)
{
    const auto addMessage = [&](QPointF at, double room) {
        TextBlock block = layText(*m_message, messageStyle, room, 0);
        drawing.add("message", {at, block.size}, std::move(block.content));
        return at.y() + block.size.height();
    };
    if (!isCard())
        return m_message ? addMessage({0, 0}, width) : 0;

    const double inside = width - 2 * bannerPadding;
    TextBlock heading = layText(u"接入数据源"_s, bannerHeadingStyle, inside);
    drawing.add("heading", {{bannerPadding, bannerPadding}, heading.size}, std::move(heading.content));
    double y = bannerPadding + heading.size.height();
    for (const Row &row : std::as_const(m_rows)) {
        if (row.isNeeded)
            y = drawRow(drawing, row, y + bannerGap, inside);
    }
    if (m_message)
        y = addMessage({bannerPadding, y + bannerGap}, inside);
    return y + bannerPadding;
}

double OnboardingBanner::drawRow(Drawing &drawing, const Row &row, double y, double width)
{
    HStack content(0);
    content.text(row.titleName, row.title, bannerTitleStyle);
    content.spacer();
    content.room(row.button->exactSize());
    const double bottom = content.place(drawing, {bannerPadding, y}, width).bottom();
    row.button->placeAt(content.rooms().first());
    return bottom;
}
