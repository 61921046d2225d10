#pragma once

#include "Plumtide/desktop/XcbEvents.h"

#include <QTimer>

/// Signals when QSystemTrayIcon may be used for the first time. At its first use, Qt 6.4 decides for the whole process
/// whether icons are StatusNotifierItems on D-Bus or X11 windows (XEmbed); too early, it chooses XEmbed, which many
/// desktops do not show. Without a bus and without X11 no tray is found.
class TrayHost final : public QObject
{
    Q_OBJECT

public:
    TrayHost();

Q_SIGNALS:
    void found(); ///< At most once, when the event loop runs.

private:
    void finish(const char *kind);

    ManagerSelection m_xembed{"_NET_SYSTEM_TRAY_S0"};
    QTimer m_grace; // for a StatusNotifier watcher beside an XEmbed tray: many panels start both, the watcher later
    bool m_isFound = false;
};
