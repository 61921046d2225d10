#pragma once

#include "Plumtide/desktop/Autostart.h"
#include "Plumtide/desktop/TrayHost.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/views/Actions.h"

#include <QElapsedTimer>
#include <QMenu>
#include <QObject>
#include <QTimer>

#include <memory>

class HooksInstaller;
class Instance;
class MiniBoardController;
class Notifier;
class PanelView;
class PanelWindow;
class QWidget;
struct Services;
class TaskStore;
class TrayItem;

/// The visible part of the program: creates the tray item, the panel and the mini board, and connects them to the
/// services and to each other. The panel is created when it is opened for the first time.
/// Thread: main thread, with a QApplication.
class DesktopShell final : public QObject
{
    Q_OBJECT

public:
    /// `services` and `instance` must outlive it.
    DesktopShell(Services &services, Instance &instance);
    ~DesktopShell() override;

    /// Where it was last, or beside the desktop's bar. `token` is the startup token that lets it take the focus.
    void openPanel(const QByteArray &token = {});

Q_SIGNALS:
    void quitRequested();

private:
    PanelWindow &panel();
    QWidget *makeMiniBoardContent();
    void openSession(const QString &id);
    void fillTrayMenu();
    void switchLoginStart(bool isOn);
    void scheduleCount();
    void showCount();

    TaskStore &m_store;
    HooksInstaller &m_installer;
    Notifier &m_notifier;
    const Clock m_clock;
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
