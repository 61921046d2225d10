#pragma once

#include "Plumtide/desktop/TrayHost.h"

#include <QObject>
#include <QRect>

#include <memory>

class QMenu;
class QSystemTrayIcon;

/// The program's item in the desktop's tray: the icon with the number of lines that want the user, and the menu.
/// QSystemTrayIcon registers it again by itself when the panel restarts. Thread: main thread, on a QApplication. Before
/// `host` has found a tray there is none.
class TrayItem final : public QObject
{
    Q_OBJECT

public:
    /// `menu` must outlive it.
    TrayItem(TrayHost &host, QMenu &menu, QObject *parent = nullptr);
    ~TrayItem() override;

    /// The icon and the tooltip are sent only when the number changes.
    void setUrgentCount(int count);

    /// "Plumtide", or "Plumtide：3 条等你处理".
    [[nodiscard]] static QString toolTip(int count);

Q_SIGNALS:
    /// A left or middle click. `place` is the item's where the tray tells it, or else the pointer's, one pixel; empty
    /// where neither is known. In logical screen pixels.
    void clicked(const QRect &place);

private:
    void makeIcon();
    void showCount();

    QMenu &m_menu;
    std::unique_ptr<QSystemTrayIcon> m_icon;
    int m_urgentCount = 0;
};
