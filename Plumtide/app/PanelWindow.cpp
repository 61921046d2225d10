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

using namespace Qt::StringLiterals;

namespace {

Qt::WindowFlags panelFlags()
{
    const Qt::WindowFlags additional = FloatingWindow::additionalFlags();
    // A window that bypasses the window manager is in no task bar anyway, and wlroots leaves the keyboard to it only
    // when its type is an ordinary one.
    const Qt::WindowFlags type = additional ? Qt::Window : Qt::Tool;
    return type | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | additional;
}

} // namespace

PanelWindow::PanelWindow(QWidget *content, Now now) : QWidget(nullptr, panelFlags()), m_now(std::move(now))
{
    setObjectName(u"panelWindow"_s);
    setWindowTitle(u"Plumtide"_s);
    setFixedSize(panelSize);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSizeConstraint(QLayout::SetNoConstraint); // large content scrolls by itself; the panel keeps its size
    column->addWidget(content);
}

void PanelWindow::toggle(std::optional<QPoint> at)
{
    const bool hasJustClosed = m_lostFocus && m_now() - *m_lostFocus < reopenPause;
    m_lostFocus.reset();
    if (isVisible())
        hide();
    else if (!hasJustClosed)
        open(at);
}

void PanelWindow::open(std::optional<QPoint> at, QByteArray token)
{
    if (token.isEmpty())
        token = qgetenv(FloatingWindow::tokenVariable);
    if (at)
        m_lastClick = at;
    if (!isVisible()) {
        m_openedAt = m_now();
        m_pointerAtOpening = QCursor::pos();
        const QPoint place = placeFor(m_lastClick);
        qCDebug(appLog) << "panel opens at" << place << "after a click at" << m_lastClick.value_or(QPoint());
        winId(); // makes the native window
        FloatingWindow::prepare(*windowHandle(), FloatingWindow::Desktops::Current, token);
        move(place);
        show();
        // Qt 6.4 on X11 is now and then told of a move to 0,0 that never was, and believes it for good.
        QTimer::singleShot(0, this, [this, place] {
            if (isVisible() && pos() != place)
                move(place);
        });
    }
    raise();
    activateWindow();
    FloatingWindow::endStartup(token);
    // Qt 6.4 on X11 hears late that a window it hid has lost the focus. Shown again before that, the window would get
    // the focus without being told, and not notice when it goes.
    if (!isActiveWindow() && QGuiApplication::focusWindow() == windowHandle())
        QApplication::setActiveWindow(this);
}

void PanelWindow::setVisible(bool isVisible)
{
    m_isHiding = !isVisible; // it loses the focus by that, which is not the user's turning away
    QWidget::setVisible(isVisible);
    m_isHiding = false;
}

QPoint PanelWindow::placeFor(std::optional<QPoint> at) const
{
    const QScreen *screen = at ? QGuiApplication::screenAt(*at) : nullptr;
    if (!screen) { // that screen has been unplugged
        at.reset();
        screen = QGuiApplication::primaryScreen();
    }
    return screen ? panelTopLeft(at, screen->geometry(), screen->availableGeometry(), panelSize) : pos();
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
    m_lostFocus = m_now();
    hide();
}

void PanelWindow::keepWhileOpening()
{
    // wlroots (seen with sway 1.7) takes the focus back at once from a window that bypasses the window manager, unless
    // the focus was ours already. Then the panel is there to be clicked, and a second click on the item closes it.
    if (windowFlags().testFlag(Qt::X11BypassWindowManagerHint))
        return;
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
    if (!event->spontaneous())
        Q_EMIT opened();
}

void PanelWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (!event->spontaneous())
        Q_EMIT closed();
}
