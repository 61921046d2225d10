#include "Plumtide/views/Switch.h"

#include "Plumtide/views/HStack.h"

namespace {

constexpr double switchLabelGap = 6;
constexpr QSizeF trackSize(26, 15);
constexpr double knobMargin = 1;

} // namespace

Switch::Switch(const QString &label, const TextStyle &style, QWidget *parent)
    : DrawnButton(label, {}, {.style = style}, parent), m_style(style)
{
    setCheckable(true);
    setAccessibleRole(QAccessible::CheckBox);
    connect(this, &QAbstractButton::toggled, this, &Switch::invalidate);
}

QSizeF Switch::compose(Drawing &drawing, double /*width*/)
{
    HStack content(switchLabelGap);
    content.text("label", text(), m_style);
    content.room(trackSize);
    const QRectF box = content.place(drawing, {0, 0}, QWIDGETSIZE_MAX);
    const QRectF track = content.rooms().first();
    drawing.add("control", track,
                Drawing::Box{.fill = isChecked() ? Theme::accent : Theme::switchOff, .radius = track.height() / 2});
    const double diameter = track.height() - 2 * knobMargin;
    const double left = isChecked() ? track.right() - knobMargin - diameter : track.left() + knobMargin;
    drawing.addDot("knob", {left, track.top() + knobMargin, diameter, diameter}, Theme::card);
    return box.size();
}
