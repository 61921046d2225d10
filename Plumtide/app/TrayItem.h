#pragma once

#include "Plumtide/desktop/TrayHost.h"

#include <QAction>
#include <QObject>
#include <QRect>

#include <memory>

class QMenu;
class QSystemTrayIcon;

/// The program's item in the desktop's tray: the icon with the number of lines that want the user, and a menu for
/// panels that offer nothing else. QSystemTrayIcon registers it again by itself when the panel restarts.
/// Thread: main thread, on a QApplication. Before `host` has found a tray there is none.
class TrayItem final : public QObject
{
    Q_OBJECT

public:
    /// `undo` is one of its menu's entries, and must outlive it.
    TrayItem(TrayHost &host, QAction &undo, QObject *parent = nullptr);
    ~TrayItem() override;

    /// The icon and the tooltip are sent only when the number changes.
    void setUrgentCount(int count);
    // The check marks in the menu; no signal follows.
    void setMiniBoardOn(bool isOn) { m_miniBoard->setChecked(isOn); }
    void setLoginStartOn(bool isOn) { m_loginStart->setChecked(isOn); }

    /// "Plumtide", or "Plumtide：3 条等你处理".
    [[nodiscard]] static QString toolTip(int count);

Q_SIGNALS:
    /// A left or middle click. `place` is the item's where the tray tells it, or else the pointer's, one pixel; empty
    /// where neither is known. In logical screen pixels.
    void clicked(const QRect &place);
    void openRequested();
    void miniBoardSwitched(bool isOn);
    void loginStartSwitched(bool isOn);
    void menuOpening(); ///< Whoever sets a check mark now is in time. Sent for every opening.
    void quitRequested();

private:
    void makeIcon();
    void showCount();

    std::unique_ptr<QMenu> m_menu; // outlives the icon that shows it
    std::unique_ptr<QSystemTrayIcon> m_icon;
    QAction *m_miniBoard = nullptr;
    QAction *m_loginStart = nullptr;
    int m_urgentCount = 0;
};
