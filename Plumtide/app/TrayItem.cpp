#include "Plumtide/app/TrayItem.h"

#include "Plumtide/app/TrayIcon.h"
#include "Plumtide/desktop/FloatingWindow.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;

TrayItem::TrayItem(QMenu &menu) : m_menu(menu)
{
    connect(&m_host, &TrayHost::found, this, &TrayItem::makeIcon);
    // The tray has announced a window (seen with GNOME 43): if none has come, the pointer need not be busy for it.
    connect(
        &menu, &QMenu::triggered, this, [] { FloatingWindow::endStartup(qgetenv(FloatingWindow::tokenVariable)); },
        Qt::QueuedConnection);
}

void TrayItem::makeIcon()
{
    m_icon = std::make_unique<QSystemTrayIcon>();
    m_icon->setContextMenu(&m_menu);
    connect(m_icon.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        // A StatusNotifier item does not know where it is, but the pointer is on it.
        QRect place = m_icon->geometry();
        const bool isWindow = !place.isEmpty(); // XEmbed, where Qt shows the menu itself
        if (!isWindow && !FloatingWindow::isWaylandSession())
            place = QRect(QCursor::pos(), QSize(1, 1));
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick)
            Q_EMIT clicked(place);
        else if (reason == QSystemTrayIcon::Context && !isWindow) // a bar that shows no menus (swaybar 1.7)
            m_menu.popup(place.isEmpty() ? FloatingWindow::workArea(*QGuiApplication::primaryScreen()).topRight()
                                         : place.topLeft());
    });
    // The digits' font takes 15 ms to load. The item must not come later to its place in the tray for that.
    showState(0);
    m_icon->show();
    if (m_urgentCount > 0)
        QTimer::singleShot(0, this, [this] { showState(m_urgentCount); });
}

void TrayItem::showState(int countInIcon)
{
    m_icon->setIcon(trayIcon(countInIcon, m_isMuted));
    const QString count = m_urgentCount > 0 ? u"：%1 条等你处理"_s.arg(m_urgentCount) : QString();
    m_icon->setToolTip(u"Plumtide"_s + count + (m_isMuted ? u"（勿扰）"_s : QString()));
}

void TrayItem::setState(int urgentCount, bool isMuted)
{
    const bool wasMuted = std::exchange(m_isMuted, isMuted);
    if ((std::exchange(m_urgentCount, urgentCount) != urgentCount || wasMuted != isMuted) && m_icon)
        showState(urgentCount);
}
