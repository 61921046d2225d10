#pragma once

#include <QObject>

#include <memory>

#include <xcb/xcb.h>

/// Tells when there is a tray of the older kind, which takes icons in as X11 windows: it owns the selection
/// "_NET_SYSTEM_TRAY_S<screen>" and announces itself by a MANAGER message to the root window (system tray protocol of
/// freedesktop.org, 0.3). Has a connection of its own, so Qt's sees nothing of it.
/// Thread: main thread. Errors: without an X server there is never such a tray.
class XembedTray final : public QObject
{
    Q_OBJECT

public:
    explicit XembedTray(QObject *parent = nullptr); ///< Connects to `$DISPLAY`.
    ~XembedTray() override;

    [[nodiscard]] bool isThere(); ///< Asks the server.

Q_SIGNALS:
    void appeared(); ///< A tray has just come.

private:
    void readEvents();

    struct Disconnect
    {
        void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
    };
    std::unique_ptr<xcb_connection_t, Disconnect> m_connection; // null without a server
    xcb_window_t m_root = 0;
    xcb_atom_t m_manager = 0;
    xcb_atom_t m_selection = 0;
};
