#pragma once

#include "Plumtide/desktop/ManagerSelection.h"

#include <QTimer>

#include <chrono>

/// Says when QSystemTrayIcon may be touched for the first time. Qt 6.4 decides at its first use, once for the whole
/// process, whether icons go over D-Bus (StatusNotifierItem) or into an X11 window (XEmbed); too early, that is XEmbed
/// for ever, which many desktops do not show.
/// Thread: main thread. Errors: none; without a bus and without X11 nothing is ever found, and nothing runs.
class TrayHost final : public QObject
{
    Q_OBJECT

public:
    /// How long an XEmbed tray must have been there without a StatusNotifier watcher: many panels have both, and the
    /// watcher is the slower one.
    static constexpr std::chrono::milliseconds grace{3'000};

    explicit TrayHost(QObject *parent = nullptr);

    void start(); ///< Returns at once; call it once.

Q_SIGNALS:
    void found(); ///< Once at the most.

private:
    void finish(const char *kind);

    ManagerSelection m_xembed{"_NET_SYSTEM_TRAY_S0"};
    QTimer m_grace;
    bool m_isFound = false;
};
