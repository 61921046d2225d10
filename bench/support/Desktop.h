#pragma once

#include "bench/support/Report.h"
#include "bench/support/TrayWatcher.h"
#include "bench/support/Workspace.h"

#include <QProcess>
#include <QSize>

#include <memory>

struct xcb_connection_t;

/// A desktop with nothing on it: an X server (Xvfb) without a window manager, a session bus that starts no services,
/// and a tray. Nobody but the measured programs does anything there.
/// Thread: main thread, with a QCoreApplication. What goes wrong ends the benchmark.
class Desktop
{
public:
    Desktop();
    ~Desktop();
    Desktop(const Desktop &) = delete;
    Desktop &operator=(const Desktop &) = delete;

    /// What a program on this desktop is given, with that home directory.
    [[nodiscard]] std::vector<QByteArray> variables(const Workspace &home) const;
    [[nodiscard]] TrayWatcher &tray() { return *m_tray; }

    [[nodiscard]] QList<QSize> shownWindows() const; ///< Sizes in pixels, the lowest window first.

    static void turn(Seconds length); ///< The tray lives meanwhile.
    static void turnUntil(const std::function<bool()> &condition, const QByteArray &otherwise);

private:
    const Workspace m_files; // the bus's configuration
    QProcess m_server;
    QProcess m_bus;
    QByteArray m_display;
    QByteArray m_busAddress;
    xcb_connection_t *m_connection = nullptr;
    std::unique_ptr<TrayWatcher> m_tray;
};
