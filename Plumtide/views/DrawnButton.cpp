#include "Plumtide/views/DrawnButton.h"

#include "Plumtide/views/Accessibility.h"
#include "Plumtide/views/HStack.h"

#include <QKeyEvent>
#include <QPaintEvent>
#include <QPainter>

#include <algorithm>
#include <utility>

namespace {

constexpr double buttonIconGap = 4;
constexpr double ringWidth = 2;
constexpr double ringGap = 1;
constexpr double pressedOpacity = 0.6;
constexpr double hoverOpacity = 0.8;

} // namespace

void paintFocusRing(QPainter &painter, const QRectF &box, double radius)
{
    const double out = ringGap + ringWidth / 2;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::faded(Theme::accent, 0.8), ringWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(box.adjusted(-out, -out, out, out), radius + out, radius + out);
}

bool isKeyboardFocus(Qt::FocusReason reason)
{
    return reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
}

DrawnButton::DrawnButton(const QString &text, const QString &icon, const Look &look, QWidget *parent)
    : QAbstractButton(parent), m_icon(icon), m_look(look)
{
    installAccessibility();
    setText(text);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus); // a click leaves the focus where it is
    setAttribute(Qt::WA_Hover);   // repaints it when the pointer comes and goes
}

void DrawnButton::setLook(const Look &look)
{
    m_look = look;
    invalidate();
}

void DrawnButton::setIconName(const QString &icon)
{
    if (std::exchange(m_icon, icon) != icon)
        invalidate();
}

void DrawnButton::setOpacity(double opacity)
{
    if (m_opacity == opacity)
        return;
    m_opacity = opacity;
    update();
}

void DrawnButton::setLeastWidth(double width)
{
    m_leastWidth = width;
    invalidate();
}

void DrawnButton::invalidate()
{
    m_isComposed = false;
    update();
}

QSizeF DrawnButton::exactSize()
{
    Drawing drawing;
    return compose(drawing, 0);
}

void DrawnButton::placeAt(const QRectF &box)
{
    const double blur = m_look.shadow ? 3 * m_look.shadow->deviation + m_look.shadow->offset.y() : 0;
    if (m_box != box.size()) {
        m_box = box.size();
        invalidate();
    }
    Drawn::placeAt(*this, box, std::max(ringGap + ringWidth, blur));
}

const Drawing &DrawnButton::drawing()
{
    if (!m_isComposed || m_drawnText != text()) {
        m_drawing = {};
        compose(m_drawing, m_box.width());
        m_drawnText = text();
        m_isComposed = true;
    }
    return m_drawing;
}

QSizeF DrawnButton::compose(Drawing &drawing, double width)
{
    HStack content(buttonIconGap);
    if (!m_icon.isEmpty())
        content.icon("icon", m_icon, m_look.style.size, m_look.style.color);
    content.text("text", text(), m_look.style);
    Drawing inside;
    const QRectF natural = content.place(inside, {0, 0}, QWIDGETSIZE_MAX);
    const double least = std::max(m_leastWidth, natural.width() + 2 * m_look.paddingX);
    const QSizeF size(m_look.fillsWidth && width > 0 ? width : least, natural.height() + 2 * m_look.paddingY);
    const QRectF face({0, 0}, size);
    if (m_look.fill != Qt::transparent || m_look.shadow || m_look.radius > 0)
        drawing.add("", face, Drawing::Box{.fill = m_look.fill, .radius = m_look.radius, .shadow = m_look.shadow});
    content.place(drawing, {(size.width() - natural.width()) / 2, m_look.paddingY}, QWIDGETSIZE_MAX);
    if (m_look.border != Qt::transparent)
        drawing.addBorder("border", face, m_look.radius, m_look.border, 1);
    return size;
}

void DrawnButton::paintEvent(QPaintEvent *event)
{
    const double opacity = m_opacity;
    if (isDown())
        m_opacity *= pressedOpacity;
    else if (underMouse() && isEnabled())
        m_opacity *= hoverOpacity;
    paintDrawing(*this, event->rect());
    m_opacity = opacity;
    if (hasFocus() && m_showsFocus) {
        QPainter painter(this);
        paintFocusRing(painter, {origin(), m_box}, m_look.radius);
    }
}

void DrawnButton::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QAbstractButton::keyPressEvent(event);
}

void DrawnButton::focusInEvent(QFocusEvent *event)
{
    m_showsFocus = isKeyboardFocus(event->reason()) || (m_showsFocus && event->reason() == Qt::ActiveWindowFocusReason);
    QAbstractButton::focusInEvent(event);
}
