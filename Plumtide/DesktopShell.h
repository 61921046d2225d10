#pragma once

#include "Plumtide/desktop/Autostart.h"
#include "Plumtide/desktop/TrayHost.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/views/LineMenu.h"

#include <QElapsedTimer>
#include <QMenu>
#include <QObject>
#include <QTimer>

#include <memory>

class HooksInstaller;
class Instance;
class MiniBoardController;
class PanelView;
class PanelWindow;
class QWidget;
class TaskStore;
class TrayItem;

/// All that is seen: makes the tray item, the panel and the mini board, and wires them to the store and to each other.
/// The panel is made when it is opened for the first time.
/// Thread: main thread, on a QApplication.
class DesktopShell final : public QObject
{
    Q_OBJECT

public:
    /// `store`, `installer` and `instance` must outlive it.
    DesktopShell(TaskStore &store, HooksInstaller &installer, Instance &instance, const Environment &environment);
    ~DesktopShell() override;

    /// Where it was opened last, or by the desktop's bar. `token` lets it take the focus.
    void openPanel(const QByteArray &token = {});

Q_SIGNALS:
    void quitRequested();

private:
    PanelWindow &panel();
    QWidget *makeMiniBoardContent();
    void openSession(const QString &line);
    void fillTrayMenu();
    void switchLoginStart(bool isOn);
    void scheduleCount();
    void showCount();

    TaskStore &m_store;
    HooksInstaller &m_installer;
    const Environment m_environment;
    const Autostart m_autostart;
    TrayHost m_trayHost;
    UndoAction m_undo;
    QMenu m_trayMenu;
    QAction *m_miniBoardSwitch = nullptr;
    QAction *m_loginStartSwitch = nullptr;
    std::unique_ptr<TrayItem> m_tray;
    std::unique_ptr<PanelWindow> m_panel;
    PanelView *m_panelView = nullptr; // owned by the window
    std::unique_ptr<MiniBoardController> m_miniBoard;
    QTimer m_idleTimer; // runs after the panel was closed
    QTimer m_countTimer;
    QElapsedTimer m_sinceCount;
};
