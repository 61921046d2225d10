#include "Plumtide/app/MiniBoardWindow.h"

#include "Plumtide/app/PanelPlacement.h"
#include "Plumtide/desktop/FloatingWindow.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainterPath>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

MiniBoardWindow::MiniBoardWindow(const Content &content)
    : QWidget(nullptr,
              Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
                  | FloatingWindow::flagsAboveOthers()),
      m_offset(content.shadowMargin, content.shadowMargin),
      m_cornerRadius(content.cornerRadius)
{
    setObjectName(u"miniBoardWindow"_s);
    setWindowTitle(u"Plumtide"_s);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSizeConstraint(QLayout::SetFixedSize); // to what the content wants
    column->addWidget(content.widget);
    connect(&m_compositor, &ManagerSelection::changed, this, &MiniBoardWindow::updateShape);
    adjustSize();
    // sway 1.7 draws it above all, but has XWayland restack each window that becomes active above it a little later;
    // clicks on the board would go to that window.
    if (windowFlags().testFlag(Qt::X11BypassWindowManagerHint) && FloatingWindow::isWaylandSession())
        connect(new ActiveWindow(this), &ActiveWindow::changed, this,
                [this] { QTimer::singleShot(50ms, this, &QWidget::raise); });
    connect(qApp, &QGuiApplication::screenAdded, this, &MiniBoardWindow::ensureOnScreen, Qt::QueuedConnection);
    connect(qApp, &QGuiApplication::screenRemoved, this, &MiniBoardWindow::ensureOnScreen, Qt::QueuedConnection);
}

// Without its screen it is shown on the primary one, but keeps its place for when that screen is back.
void MiniBoardWindow::ensureOnScreen()
{
    const QRect board(m_place, boardSize());
    const auto shows = [&](const QScreen *screen) { return screen->geometry().intersects(board); };
    const QScreen *const primary = QGuiApplication::primaryScreen();
    const bool isShown = !primary || std::ranges::any_of(QGuiApplication::screens(), shows);
    move((isShown ? m_place : movedInside(m_place, board.size(), FloatingWindow::workArea(*primary))) - m_offset);
}

void MiniBoardWindow::setPlace(QPoint place)
{
    m_place = place;
    move(place - m_offset);
}

void MiniBoardWindow::showInFront()
{
    if (isVisible())
        return raise();
    winId(); // creates the native window
    FloatingWindow::prepare(*windowHandle());
    move(m_place - m_offset);
    show();
    updateShape();
    FloatingWindow::putOnAllDesktops(*windowHandle());
    QTimer::singleShot(0, this, [this] { // see m_place
        if (isVisible() && !m_dragOffset && pos() != m_place - m_offset)
            move(m_place - m_offset);
    });
}

void MiniBoardWindow::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        m_dragOffset = event->position().toPoint();
        m_hasDragged = false;
    }
}

void MiniBoardWindow::mouseMoveEvent(QMouseEvent *event)
{
    // QWindow::startSystemMove does nothing where the window bypasses the window manager. pos() may be wrong.
    const QPoint place = event->globalPosition().toPoint() - m_dragOffset.value_or(QPoint()) + m_offset;
    if (!m_dragOffset || place == m_place)
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
    m_dragOffset.reset();
    if (std::exchange(m_hasDragged, false))
        Q_EMIT movedByUser(m_place);
}

void MiniBoardWindow::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    const QPoint place = event->pos() + m_offset;
    if (!isVisible() || m_dragOffset || place == m_place || event->pos().isNull()
        || !FloatingWindow::isButtonOrModifierDown())
        return;
    m_place = place;
    Q_EMIT movedByUser(place);
}

void MiniBoardWindow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    updateShape();
    // After a change of the scale, KWin 6.3 under Wayland keeps the size in device pixels.
    if (event->size() != minimumSize())
        QTimer::singleShot(0, this, [this] { resize(minimumSize()); });
}

void MiniBoardWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    endDrag(); // the release will not come
}

// On X11 without a compositor, transparent pixels are black.
void MiniBoardWindow::updateShape()
{
    const QRect board(m_offset, boardSize());
    if (m_compositor.isOwned() || QGuiApplication::platformName() != u"xcb"_s) {
        clearMask();
        if (windowHandle())
            FloatingWindow::setInputRegion(*windowHandle(), board);
        return;
    }
    QPainterPath shape;
    shape.addRoundedRect(board, m_cornerRadius, m_cornerRadius);
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
}
