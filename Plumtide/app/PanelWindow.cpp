#include "Plumtide/app/PanelWindow.h"

#include "Plumtide/app/PanelPlacement.h"
#include "Plumtide/desktop/FloatingWindow.h"
#include "Plumtide/system/Log.h"

#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

PanelWindow::PanelWindow(QWidget *content, Now now)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), m_now(std::move(now))
{
    setObjectName(u"panelWindow"_s);
    setWindowTitle(u"Plumtide"_s);
    setFixedSize(content->size());
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(content);
    connect(&m_presses, &PointerPresses::pressed, this, [this] {
        // By position, since an input method's list or a notification may lie above the panel (ibus 1.5).
        const auto isPressed = [at = QCursor::pos()](const QWidget *own) {
            return own->isVisible() && own->frameGeometry().contains(at);
        };
        if (isVisible() && !FloatingWindow::isWaylandSession()
            && std::ranges::none_of(QApplication::topLevelWidgets(), isPressed))
            dismiss();
    });
    connect(qApp, &QGuiApplication::screenRemoved, this, &QWidget::hide);
}

void PanelWindow::toggle(const QRect &item)
{
    const bool hasJustClosed = m_lostFocus && m_now() - *m_lostFocus < reopenPause;
    m_lostFocus.reset();
    if (isVisible())
        hide();
    else if (!hasJustClosed)
        open(item);
}

void PanelWindow::open(const QRect &item, QByteArray token)
{
    if (token.isEmpty())
        token = qgetenv(FloatingWindow::tokenVariable);
    if (!item.isEmpty())
        m_item = item;
    // Qt on X11 (6.4 to 6.11) learns 100 ms late that a hidden window has lost the focus. Shown again before that, the
    // panel would hear neither that it gets the focus nor that it loses it.
    const bool isStillFocused = windowHandle() && QGuiApplication::focusWindow() == windowHandle();
    if (!isVisible() && isStillFocused && QGuiApplication::platformName() == u"xcb"_s) {
        connect(
            qApp, &QGuiApplication::focusWindowChanged, this, [this, token] { open({}, token); },
            Qt::SingleShotConnection);
        return;
    }
    if (!isVisible()) {
        m_openedAt = m_now();
        m_pointerAtOpening = QCursor::pos();
        winId(); // creates the native window
        const QPoint place = placeFor(m_item);
        qCDebug(appLog) << "panel opens at" << place << "for an item at" << m_item;
        FloatingWindow::prepare(*windowHandle(), token);
        move(place);
        show();
        // Qt 6.4 on X11 sometimes reports a move to 0,0 that did not happen, and keeps that position. And some window
        // managers (i3 4.22) put a frame around a frameless window.
        for (const auto delay : {0ms, 60ms, 250ms, 1000ms}) { // a busy one does that late
            QTimer::singleShot(delay, this, [this] {
                const QPoint place = placeFor(m_item);
                if (isVisible() && windowHandle()->framePosition() != place)
                    windowHandle()->setFramePosition(place);
            });
        }
    }
    raise();
    activateWindow();
    FloatingWindow::endStartup(token);
}

void PanelWindow::setVisible(bool isVisible)
{
    const bool isChange = isVisible != this->isVisible();
    m_isHiding = !isVisible; // the focus that it loses by this was not taken by the user
    QWidget::setVisible(isVisible);
    m_isHiding = false;
    if (!isChange)
        return;
    m_presses.follow(isVisible);
    if (isVisible)
        Q_EMIT opened();
    else
        Q_EMIT closed();
}

QPoint PanelWindow::placeFor(QRect item) const
{
    const QScreen *screen = item.isEmpty() ? nullptr : QGuiApplication::screenAt(item.center());
    if (!screen) { // that screen has been unplugged
        item = {};
        screen = QGuiApplication::primaryScreen();
    }
    // QWidget's own frame geometry is that of its last move. While a window manager (openbox 3.6) makes the frame, its
    // reported size can be smaller than the panel.
    const QSize frame = windowHandle()->frameGeometry().size().expandedTo(size());
    return screen ? panelTopLeft(item, screen->geometry(), FloatingWindow::workArea(*screen), frame) : pos();
}

bool PanelWindow::event(QEvent *event)
{
    if (event->type() == QEvent::WindowDeactivate && isVisible() && !m_isHiding)
        closeUnlessBusy();
    return QWidget::event(event);
}

// The focus has gone to another program, or to a list or a menu of the panel.
void PanelWindow::closeUnlessBusy()
{
    QWidget *own = QApplication::activePopupWidget();
    if (QWidget *const active = QApplication::activeWindow(); !own && findChildren<QWidget *>().contains(active))
        own = active;
    qCDebug(appLog) << "panel has lost the focus to" << own;
    if (own) {
        if (m_awaited)
            m_awaited->removeEventFilter(this);
        m_awaited = own;
        own->installEventFilter(this);
        return;
    }
    // When a click opens the panel, a window manager may move the focus several times (openbox 3.6 on a busy machine).
    // A user who clicks elsewhere so soon has moved the pointer.
    if (m_now() - m_openedAt < openingTime && QCursor::pos() == m_pointerAtOpening) {
        activateWindow();
        checkFocusAfter(openingTime);
    } else {
        dismiss();
    }
}

void PanelWindow::dismiss()
{
    m_lostFocus = m_now();
    hide();
}

void PanelWindow::checkFocusAfter(std::chrono::milliseconds time)
{
    QTimer::singleShot(time, this, [this] {
        if (isVisible() && !isActiveWindow())
            closeUnlessBusy();
    });
}

bool PanelWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_awaited && (event->type() == QEvent::Hide || event->type() == QEvent::WindowDeactivate)) {
        m_awaited->removeEventFilter(this);
        m_awaited.clear();
        checkFocusAfter(0ms); // not yet: the focus is still moving
    }
    return QWidget::eventFilter(watched, event);
}

void PanelWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier)
        hide();
    else
        QWidget::keyPressEvent(event);
}
