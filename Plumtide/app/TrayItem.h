#pragma once

#include "Plumtide/desktop/TrayHost.h"

#include <QRect>
#include <QSystemTrayIcon>

#include <memory>

class QMenu;

/// The program's item in the desktop's tray: the icon with the number of lines that want the user, and the menu. It
/// appears when TrayHost has found a tray; QSystemTrayIcon registers it again by itself when the panel restarts.
class TrayItem final : public QObject
{
    Q_OBJECT

public:
    explicit TrayItem(QMenu &menu); ///< `menu` must outlive it.

    /// How many lines want the user, and whether notifications are muted. Sent only when one of both changes.
    void setState(int urgentCount, bool isMuted);

Q_SIGNALS:
    /// A left or middle click. `place` is the item's where the tray tells it, or else the pointer's, one pixel; empty
    /// where neither is known. In logical screen pixels.
    void clicked(const QRect &place);

private:
    void makeIcon();
    void showState(int countInIcon); // and in the tooltip all

    QMenu &m_menu;
    TrayHost m_host;
    std::unique_ptr<QSystemTrayIcon> m_icon;
    int m_urgentCount = 0;
    bool m_isMuted = false;
};
