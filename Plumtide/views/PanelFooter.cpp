#include "Plumtide/views/PanelFooter.h"

#include "Plumtide/views/HStack.h"
#include "Plumtide/views/Switch.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double footerPaddingX = 14;
constexpr double footerPaddingY = 9;
constexpr double footerItemGap = 10;
const TextStyle versionStyle{11, QFont::Normal, Theme::faded(Theme::secondary, 0.7)};
constexpr TextStyle controlStyle{12, QFont::Normal, Theme::secondary};

} // namespace

PanelFooter::PanelFooter(QWidget *parent)
    : DrawnView(parent),
      m_switch(new Switch(u"悬浮板"_s, controlStyle, this)),
      m_quit(new DrawnButton(u"退出"_s, {}, {.style = controlStyle}, this))
{
    setObjectName(u"footer"_s);
    m_switch->setObjectName(u"footer.switch"_s);
    m_quit->setObjectName(u"footer.quit"_s);
    connect(m_switch, &QAbstractButton::clicked, this, &PanelFooter::miniBoardSwitched);
    connect(m_quit, &QAbstractButton::clicked, this, &PanelFooter::quitRequested);
}

void PanelFooter::setMiniBoardOn(bool isOn)
{
    m_switch->setChecked(isOn);
}

int PanelFooter::layOut(int width)
{
    const QSizeF quit = m_quit->exactSize();
    const QSizeF toggle = m_switch->exactSize();
    const double inside = std::max(quit.height(), toggle.height());
    const auto top = [inside](QSizeF size) { return footerPaddingY + (inside - size.height()) / 2; };
    const double quitLeft = width - footerPaddingX - quit.width();
    m_quit->placeAt({{quitLeft, top(quit)}, quit});
    m_switch->placeAt({{quitLeft - footerItemGap - toggle.width(), top(toggle)}, toggle});
    return static_cast<int>(std::lround(inside + 2 * footerPaddingY));
}

void PanelFooter::compose(Drawing &drawing)
{
    TextBlock version = layText(u"v" PLUMTIDE_VERSION ""_s, versionStyle, width());
    drawing.add("version", {{footerPaddingX, (height() - version.size.height()) / 2}, version.size},
                std::move(version.content));
}
