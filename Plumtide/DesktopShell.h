#pragma once

#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/app/PanelWindow.h"
#include "Plumtide/app/TrayItem.h"
#include "Plumtide/desktop/Autostart.h"
#include "Plumtide/views/Actions.h"

#include <QElapsedTimer>
#include <QMenu>
#include <QTimer>

#include <memory>

class Instance;
class PanelView;
struct Services;

/// The visible part of the program: the tray item, the mini board and, once it is opened, the panel, connected to the
/// services and to each other. Needs a QApplication.
class DesktopShell final : public QObject
{
    Q_OBJECT

public:
    /// `services` and `instance` must outlive it.
    DesktopShell(Services &services, Instance &instance);

    /// Where it was last, or beside the desktop's bar. `token` is the startup token that lets it take the focus.
    void openPanel(const QByteArray &token = {}) { panel().open({}, token); }
    /// Brings the terminal of the line's session to the front; where there is none, opens the panel and shows the line.
    void goTo(const QString &lineId, const QByteArray &token);

private:
    PanelWindow &panel();
    [[nodiscard]] MiniBoardWindow::Content makeMiniBoard();
    void openSession(const QString &lineId);
    void fillTrayMenu();
    void fillMuteMenu();
    void updateTrayMenu();
    void scheduleCount();
    void showCount();

    Services &m_services;
    const Autostart m_autostart;
    UndoAction m_undo;
    QMenu m_recentMenu{QStringLiteral("最近归档")};
    QMenu m_trayMenu;
    QAction *m_miniBoardSwitch = nullptr;
    QAction *m_loginStartSwitch = nullptr;
    QAction *m_muteEnd = nullptr;
    TrayItem m_tray;
    MiniBoardController m_miniBoard;
    std::unique_ptr<PanelWindow> m_panel;
    PanelView *m_panelView = nullptr; // owned by the window
    QTimer m_idleTimer;               // trims the heap when the panel has been closed for a while
    QTimer m_countTimer;
    QElapsedTimer m_sinceCount;
};
