#include "Plumtide/app/MiniBoardWindow.h"

#include "Plumtide/desktop/FloatingWindow.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainterPath>
#include <QTimer>
#include <QWindow>

#include <utility>

using namespace Qt::StringLiterals;

MiniBoardWindow::MiniBoardWindow(QWidget *content)
    : QWidget(nullptr,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
                  | FloatingWindow::additionalFlags()),
      m_content(content)
{
    setObjectName(u"miniBoardWindow"_s);
    setWindowTitle(u"Plumtide"_s);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    m_content->setParent(this);
    m_content->move(0, 0);
    m_content->show();
    m_content->installEventFilter(this);
    connect(&m_compositor, &ManagerSelection::changed, this, &MiniBoardWindow::updateShape);
    fitContent();
}

void MiniBoardWindow::setPlace(QPoint place)
{
    m_place = place;
    move(place);
}

void MiniBoardWindow::showInFront()
{
    if (!isVisible()) {
        fitContent();
        winId(); // makes the native window
        FloatingWindow::prepare(*windowHandle(), FloatingWindow::Desktops::All);
        move(m_place);
        show();
        QTimer::singleShot(0, this, [this] { // see place()
            if (isVisible() && !m_grip && pos() != m_place)
                move(m_place);
        });
    }
    raise();
}

void MiniBoardWindow::fitContent()
{
    QSize size = m_content->sizeHint();
    if (size.isValid()) {
        size = size.expandedTo(m_content->minimumSize()).boundedTo(m_content->maximumSize());
        if (m_content->hasHeightForWidth())
            size.setHeight(m_content->heightForWidth(size.width()));
        m_content->resize(size);
    }
    resize(m_content->size());
}

bool MiniBoardWindow::event(QEvent *event)
{
    if (event->type() == QEvent::LayoutRequest) // from a content without a layout
        fitContent();
    return QWidget::event(event);
}

bool MiniBoardWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_content && event->type() == QEvent::Resize)
        resize(m_content->size());
    const bool isFiltered = QWidget::eventFilter(watched, event);
    if (watched == m_content && event->type() == QEvent::LayoutRequest)
        fitContent();
    return isFiltered;
}

void MiniBoardWindow::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        m_grip = event->position().toPoint();
        m_hasDragged = false;
    }
}

void MiniBoardWindow::mouseMoveEvent(QMouseEvent *event)
{
    // By hand, since QWindow::startSystemMove moves nothing where the window bypasses the window manager, and by the
    // place of the press, since pos() may be wrong.
    const QPoint place = event->globalPosition().toPoint() - m_grip.value_or(QPoint());
    if (!m_grip || place == m_place)
        return;
    m_hasDragged = true;
    setPlace(place);
}

void MiniBoardWindow::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        endDrag();
}

void MiniBoardWindow::endDrag()
{
    m_grip.reset();
    if (std::exchange(m_hasDragged, false))
        Q_EMIT movedByUser(m_place);
}

void MiniBoardWindow::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    const QPoint place = event->pos();
    if (!isVisible() || m_grip || place == m_place || place.isNull() || !FloatingWindow::isHeldByUser())
        return;
    m_place = place;
    Q_EMIT movedByUser(place);
}

void MiniBoardWindow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    updateShape();
}

void MiniBoardWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    endDrag(); // the release will not come
}

// Without a compositor what is transparent turns out black on X11.
void MiniBoardWindow::updateShape()
{
    if (m_compositor.isOwned() || QGuiApplication::platformName() != u"xcb"_s) {
        clearMask();
        return;
    }
    QPainterPath shape;
    shape.addRoundedRect(rect(), cornerRadius, cornerRadius);
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
}
