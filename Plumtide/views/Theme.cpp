#include "Plumtide/views/Theme.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QStringList>
#include <QToolTip>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <tuple>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array projectPalette{QColor{107, 140, 174}, QColor{121, 134, 203}, QColor{156, 138, 165},
                                    QColor{141, 123, 104}, QColor{92, 122, 153},  QColor{176, 138, 138}};

// The first that is installed draws everything, also Latin letters, so that a line has one height.
const QStringList &families(TextStyle::Design design)
{
    static const QStringList sans{u"Noto Sans CJK SC"_s,    u"Noto Sans SC"_s,      u"Source Han Sans SC"_s,
                                  u"Source Han Sans CN"_s,  u"Sarasa UI SC"_s,      u"HarmonyOS Sans SC"_s,
                                  u"WenQuanYi Micro Hei"_s, u"WenQuanYi Zen Hei"_s, u"Droid Sans Fallback"_s};
    static const QStringList serif{u"Noto Serif CJK SC"_s,   u"Noto Serif SC"_s,       u"Source Han Serif SC"_s,
                                   u"Source Han Serif CN"_s, u"AR PL SungtiL GB"_s,    u"AR PL UMing CN"_s,
                                   u"Noto Sans CJK SC"_s,    u"WenQuanYi Micro Hei"_s, u"WenQuanYi Zen Hei"_s,
                                   u"Droid Sans Fallback"_s};
    return design == TextStyle::Design::Serif ? serif : sans;
}

// In pixels: twice an ordinary text's, scaled down. Qt 6.4 rounds sizes, and thickens the stems of small fonts.
constexpr int baseSize = 25;

QFont makeFont(const TextStyle &style, int pixels)
{
    QFont font(families(style.design));
    font.setStyleHint(style.design == TextStyle::Design::Serif ? QFont::Serif : QFont::SansSerif);
    font.setPixelSize(pixels);
    font.setWeight(style.weight > QFont::Medium ? QFont::Bold : QFont::Normal); // most machines have these two
    // So letters have the same widths at every scale, and a text the same line breaks.
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

} // namespace

QColor Theme::projectColor(const QString &name)
{
    quint32 hash = 0;
    for (const char32_t scalar : name.toUcs4())
        hash = hash * 31 + scalar;
    return projectPalette[hash % projectPalette.size()];
}

QColor Theme::sourceColor(TaskSource source)
{
    constexpr std::array colors{QColor{217, 119, 87}, QColor{16, 163, 127}, secondary};
    return colors[static_cast<std::size_t>(source)];
}

QColor Theme::faded(QColor color, double opacity)
{
    color.setAlphaF(static_cast<float>(color.alphaF() * opacity));
    return color;
}

const Theme::Face &Theme::face(const TextStyle &style)
{
    using Key = std::tuple<double, bool, TextStyle::Design>;
    static std::map<Key, Face> faces;
    const Key key{style.size, style.weight > QFont::Medium, style.design};
    const auto [known, isNew] = faces.try_emplace(key);
    if (!isNew)
        return known->second;
    if (faces.size() == 1 && QFontDatabase::families(QFontDatabase::SimplifiedChinese).isEmpty())
        std::fputs("Plumtide: 没有找到中文字体，文字可能显示为方框；请安装 fonts-noto-cjk。\n", stderr);
    QFont font = makeFont(style, baseSize);
    font.setStyleStrategy(QFont::NoFontMerging);
    const QFontMetricsF metrics(font);
    const double scale = style.size / baseSize;
    // Rounds half a pixel down, also where the metrics, in 64ths of a pixel, are a little more.
    const auto whole = [scale](double metric) { return std::round(metric * scale - 0.01); };
    const double ascent = whole(metrics.ascent());
    const double height = ascent + whole(metrics.descent());
    return known->second = {font, QRawFont::fromFont(font), scale, ascent, height};
}

QFont Theme::Face::fontFor(const QString &text) const
{
    QFont chosen = font;
    if (!std::ranges::all_of(text.toUcs4(), [this](char32_t letter) { return glyphs.supportsCharacter(letter); }))
        chosen.setStyleStrategy(QFont::PreferDefault);
    return chosen;
}

QFont Theme::widgetFont(const TextStyle &style)
{
    return makeFont(style, static_cast<int>(std::lround(style.size)));
}

void Theme::setPalette()
{
    static bool isSet = false;
    if (std::exchange(isSet, true))
        return;
    QPalette palette;
    for (const auto role : {QPalette::Base, QPalette::Button, QPalette::ToolTipBase, QPalette::Light})
        palette.setColor(role, card);
    for (const auto role : {QPalette::Text, QPalette::ButtonText, QPalette::WindowText, QPalette::ToolTipText})
        palette.setColor(role, text);
    for (const auto role : {QPalette::Text, QPalette::ButtonText, QPalette::WindowText})
        palette.setColor(QPalette::Disabled, role, placeholder);
    palette.setColor(QPalette::Window, bg);
    palette.setColor(QPalette::PlaceholderText, placeholder);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, onAccent);
    QApplication::setPalette(palette);
    QToolTip::setPalette(palette); // it has one of its own
}
