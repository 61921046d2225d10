#include "Plumtide/views/DrawnView.h"

#include "Plumtide/views/Accessibility.h"

#include <QAccessible>
#include <QPaintEvent>
#include <QPainter>

void Drawn::placeAt(QWidget &widget, const QRectF &box, double margin)
{
    const QRect around = box.adjusted(-margin, -margin, margin, margin).toAlignedRect();
    m_origin = box.topLeft() - around.topLeft();
    widget.setGeometry(around);
}

void Drawn::paintDrawing(QWidget &widget, const QRect &clip)
{
    QPainter painter(&widget);
    painter.translate(m_origin);
    drawing().paint(painter, QRectF(clip).translated(-m_origin), m_opacity);
}

DrawnView::DrawnView(QWidget *parent) : QWidget(parent)
{
    installAccessibility();
}

const Drawing &DrawnView::drawing()
{
    if (!m_isComposed) {
        m_drawing = {};
        compose(m_drawing);
        m_isComposed = true;
    }
    return m_drawing;
}

void DrawnView::setOpacity(double opacity)
{
    if (m_opacity == opacity)
        return;
    m_opacity = opacity;
    update();
}

void DrawnView::redraw()
{
    m_isComposed = false;
    update();
    if (QAccessible::isActive()) {
        QAccessibleEvent event(this, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&event);
    }
}

void DrawnView::paintEvent(QPaintEvent *event)
{
    paintDrawing(*this, event->rect());
}

void DrawnView::resizeEvent(QResizeEvent * /*event*/)
{
    redraw();
}
