#include "Plumtide/app/PanelWindow.h"

#include "Plumtide/app/Log.h"
#include "Plumtide/app/PanelPlacement.h"
#include "Plumtide/desktop/FloatingWindow.h"

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

namespace {

// When a window manager may have put its frame around the panel: at once, or late on a busy machine.
constexpr std::chrono::milliseconds frameTimes[] = {0ms, 60ms, 250ms, 1s};

} // namespace

PanelWindow::PanelWindow(QWidget *content, Now now)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), m_now(std::move(now))
{
    setObjectName(u"panelWindow"_s);
    setWindowTitle(u"Plumtide"_s);
    setFixedSize(content->size());
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSizeConstraint(QLayout::SetNoConstraint); // large content scrolls by itself; the panel keeps its size
    column->addWidget(content);
    connect(&m_presses, &PointerPresses::pressed, this, [this] {
        // By their places, since an input method's list or a notification may lie above the panel (ibus 1.5).
        const auto isPressed = [at = QCursor::pos()](const QWidget *own) {
            return own->isVisible() && own->frameGeometry().contains(at);
        };
        if (isVisible() && FloatingWindow::isPointerKnown()
            && std::ranges::none_of(QApplication::topLevelWidgets(), isPressed))
            dismiss();
    });
    connect(&m_presses, &PointerPresses::released, this, [this] {
        if (m_lostFocus)
            m_lostFocus = m_now(); // a click on the tray item ends here
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
    // Qt on X11 (6.4 to 6.11) hears 100 ms late that a window it hid has lost the focus. Shown again before that, the
    // panel would get the focus without being told, and not notice when it goes.
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
        winId(); // makes the native window
        const QPoint place = placeFor(m_item);
        qCDebug(appLog) << "panel opens at" << place << "for an item at" << m_item;
        FloatingWindow::prepare(*windowHandle(), token);
        move(place);
        show();
        // Qt 6.4 on X11 is now and then told of a move to 0,0 that never was, and believes it for good. And a window
        // manager may have put a frame around it all the same (i3 4.22).
        for (const auto delay : frameTimes) {
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
    m_isHiding = !isVisible; // it loses the focus by that, which is not the user's turning away
    QWidget::setVisible(isVisible);
    m_isHiding = false;
}

QPoint PanelWindow::placeFor(QRect item) const
{
    const QScreen *screen = item.isEmpty() ? nullptr : QGuiApplication::screenAt(item.center());
    if (!screen) { // that screen has been unplugged
        item = {};
        screen = QGuiApplication::primaryScreen();
    }
    // Not QWidget's frame, which is that of its last move. While a window manager makes one (seen with openbox 3.6), it
    // can be smaller than what is in it.
    const QSize frame = windowHandle()->frameGeometry().size().expandedTo(size());
    return screen ? panelTopLeft(item, screen->geometry(), FloatingWindow::workArea(*screen), frame) : pos();
}

bool PanelWindow::event(QEvent *event)
{
    if (event->type() == QEvent::WindowDeactivate && isVisible() && !m_isHiding)
        closeUnlessBusy();
    return QWidget::event(event);
}

// The focus is elsewhere: with the user's other work, or with a list, a menu or a dialog of the panel's own.
void PanelWindow::closeUnlessBusy()
{
    QWidget *own = QApplication::activePopupWidget();
    if (!own)
        own = QApplication::activeModalWidget();
    for (QWidget *window = QApplication::activeWindow(); !own && window; window = window->parentWidget()) {
        if (window->parentWidget() && window->parentWidget()->window() == this)
            own = QApplication::activeWindow();
    }
    qCDebug(appLog) << "panel has lost the focus to" << own;
    if (own) {
        if (m_awaited)
            m_awaited->removeEventFilter(this);
        m_awaited = own;
        own->installEventFilter(this);
        return;
    }
    // Window managers give the focus to and fro when a click opens the panel (seen with openbox 3.6 on a busy machine).
    // A user who turns away so soon has moved the pointer for it.
    if (m_now() - m_openedAt < openingTime && QCursor::pos() == m_pointerAtOpening) {
        keepWhileOpening();
        return;
    }
    dismiss();
}

void PanelWindow::dismiss()
{
    m_lostFocus = m_now();
    hide();
}

void PanelWindow::keepWhileOpening()
{
    activateWindow();
    QTimer::singleShot(openingTime, this, [this] {
        if (isVisible() && !isActiveWindow())
            closeUnlessBusy();
    });
}

bool PanelWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_awaited && (event->type() == QEvent::Hide || event->type() == QEvent::WindowDeactivate)) {
        m_awaited->removeEventFilter(this);
        m_awaited.clear();
        // Later: the focus is only now on its way to whoever gets it.
        QTimer::singleShot(0, this, [this] {
            if (isVisible() && !isActiveWindow())
                closeUnlessBusy();
        });
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

void PanelWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_presses.follow(true);
    if (!event->spontaneous())
        Q_EMIT opened();
}

void PanelWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_presses.follow(false);
    if (!event->spontaneous())
        Q_EMIT closed();
}
