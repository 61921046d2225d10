#pragma once

#include <QByteArray>

#include <chrono>
#include <memory>

struct xcb_connection_t;

/// Finds a display that Qt can draw on, since Qt ends the process when it cannot start its platform plugin. Without
/// one, the program runs without windows, on a QCoreApplication.
/// The connection to an X server stays open until the probe is destroyed, after Qt has connected: a server that loses
/// its last client may reset and drop new ones.
/// Thread: main thread, before the application object exists.
class DisplayProbe
{
public:
    /// `timeout`: an X server behind a dead network connection never answers.
    explicit DisplayProbe(std::chrono::milliseconds timeout = std::chrono::seconds(2));

    /// A value for `$QT_QPA_PLATFORM` that works, or empty. The first that works of: the values in that variable;
    /// "xcb", preferred also in a Wayland session, since Wayland lets no window choose its place; "wayland".
    [[nodiscard]] const QByteArray &platform() const { return m_platform; }

private:
    using Server = std::shared_ptr<xcb_connection_t>;
    [[nodiscard]] static Server connectWithin(std::chrono::milliseconds timeout);
    [[nodiscard]] bool isUsable(const QByteArray &entry, std::chrono::milliseconds timeout);

    Server m_server;
    QByteArray m_platform;
};

/// Hides the desktop's name and theme from Qt, whose theme plugins would load a second toolkit (GTK 3: 7 MiB, 20 ms)
/// that is not needed: all is drawn in a style of its own.
void ignoreDesktopTheme();
