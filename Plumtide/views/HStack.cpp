#include "Plumtide/views/HStack.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr QSizeF chipPadding(4, 1);
constexpr double sourceChipRadius = 4;

constexpr double buttonIconGap = 4;
constexpr double switchGap = 6;
constexpr QSizeF trackSize(26, 15);
constexpr double knobMargin = 1;

} // namespace

QString label(TaskSource source)
{
    static const std::array labels{u"Claude"_s, u"Codex"_s, u"其他"_s};
    return labels[static_cast<std::size_t>(source)];
}

HStack::Item &HStack::add(QSizeF size)
{
    m_items.push_back({.gap = m_items.empty() ? 0 : m_gap, .size = size});
    return m_items.back();
}

void HStack::dot(double diameter, QColor color)
{
    add({diameter, diameter}).draw = [=](Drawing &drawing, const QRectF &box) { drawing.addDot(box, color); };
}

void HStack::text(const QString &text, const TextStyle &style, Shrink shrink, int maxLines)
{
    const ShapedText shaped(text, style);
    Item &item = add(shaped.size());
    item.shrink = shrink;
    item.layOut = [=](double width) { return shaped.block(width, maxLines); };
}

void HStack::icon(const QString &icon, double size, QColor color)
{
    add({size, size}).draw = [=](Drawing &drawing, const QRectF &box) { drawing.add(box, Drawing::Icon{icon, color}); };
}

void HStack::sourceChip(TaskSource source)
{
    const QColor color = Theme::sourceColor(source);
    const ShapedText text(label(source), {9, QFont::DemiBold, color});
    add(text.size() + 2 * chipPadding).draw = [=](Drawing &drawing, const QRectF &box) {
        drawing.add(box, Drawing::Box{.fill = Theme::faded(color, 0.12), .radius = sourceChipRadius});
        drawing.addText(box.topLeft() + QPointF(chipPadding.width(), chipPadding.height()),
                        text.block(text.size().width()));
    };
}

void HStack::button(const Drawing::Button &button)
{
    const Drawing face = composeButton(button);
    add(face.size).draw = [=](Drawing &drawing, const QRectF &box) { drawing.addButton(button, box.topLeft(), face); };
}

QSizeF HStack::size() const
{
    QSizeF size(0, 0);
    for (const Item &item : m_items)
        size = {size.width() + item.gap + item.size.width(), std::max(size.height(), item.size.height())};
    return size;
}

// Gives every text its width and its lines, and every spacer its share of the width that is left.
void HStack::layOut(double width)
{
    double rest = width - size().width();
    for (const Shrink turn : {Shrink::First, Shrink::Second}) {
        for (Item &item : m_items) {
            if (rest >= 0 || item.shrink != turn)
                continue;
            const double less = std::min(-rest, item.size.width());
            item.size.rwidth() -= less;
            rest += less;
        }
    }
    const auto isSpacer = [](const Item &item) { return !item.layOut && !item.draw; };
    const auto spacers = std::ranges::count_if(m_items, isSpacer);
    for (Item &item : m_items) {
        if (item.layOut) {
            // 0.01 more than measured, so that rounding errors do not cut a text that fits.
            const TextBlock block = item.layOut(item.size.width() + 0.01);
            item.size.setHeight(block.size.height());
            item.draw = [block](Drawing &drawing, const QRectF &box) { drawing.addText(box.topLeft(), block); };
        } else if (isSpacer(item) && rest > 0) {
            item.size.rwidth() += rest / static_cast<double>(spacers);
        }
    }
}

QRectF HStack::place(Drawing &drawing, QPointF topLeft, double width)
{
    layOut(width);
    const double height = size().height();
    double x = topLeft.x();
    double end = x;
    for (const Item &item : m_items) {
        const QRectF box({x + item.gap, topLeft.y() + (height - item.size.height()) / 2}, item.size);
        x = box.right();
        if (!item.draw)
            continue;
        end = x;
        item.draw(drawing, box);
    }
    return {topLeft, QPointF(end, topLeft.y() + height)};
}

Drawing composeButton(const Drawing::Button &button, double width)
{
    const Drawing::ButtonLook &look = button.look;
    const bool isSwitch = button.role == QAccessible::CheckBox;
    HStack content(buttonIconGap);
    if (!button.icon.isEmpty())
        content.icon(button.icon, look.style.size, look.style.color);
    content.text(button.text, look.style);
    content.setGap(switchGap);
    if (isSwitch)
        content.spacer(trackSize.width());

    Drawing drawing;
    const QSizeF inside = content.size();
    drawing.size = inside + 2 * look.padding;
    if (width > 0)
        drawing.size.setWidth(width);
    drawing.addFace(look.face);
    const QPointF topLeft((drawing.size.width() - inside.width()) / 2, look.padding.height());
    const QRectF box = content.place(drawing, topLeft, inside.width());
    if (!isSwitch)
        return drawing;
    const QRectF track({inside.width() - trackSize.width(), box.center().y() - trackSize.height() / 2}, trackSize);
    const QColor color = button.isChecked ? Theme::accent : Theme::switchOff;
    drawing.add(track, Drawing::Box{.fill = color, .radius = track.height() / 2});
    const double diameter = track.height() - 2 * knobMargin;
    const double left = button.isChecked ? track.right() - knobMargin - diameter : track.left() + knobMargin;
    drawing.addDot({left, track.top() + knobMargin, diameter, diameter}, Theme::card);
    return drawing;
}
