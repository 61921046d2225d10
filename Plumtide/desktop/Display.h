#pragma once

#include <QByteArray>

#include <chrono>
#include <memory>

struct xcb_connection_t;

/// Finds a display that Qt can draw on, since Qt ends the process when it cannot start its platform plugin. Without
/// any, the program goes on without windows, on a QCoreApplication.
/// Keeps the X server that it has found until it goes itself: one without clients may start over, and would end a
/// program that comes at that moment.
/// Thread: main thread, before the application object exists.
class DisplayProbe
{
public:
    /// `patience` is how long a display may take to answer; an X server beyond a dead network connection never does.
    explicit DisplayProbe(std::chrono::milliseconds patience = std::chrono::seconds(2));

    /// A value for `$QT_QPA_PLATFORM` that will work, or empty. In this order: what that variable names now (of a list
    /// the first that works); "xcb" where an X server answers, also the one inside a Wayland session, since Wayland
    /// itself gives windows neither a place nor a stacking; "wayland".
    [[nodiscard]] const QByteArray &platform() const { return m_platform; }

private:
    using Server = std::shared_ptr<xcb_connection_t>;
    [[nodiscard]] static Server connectWithin(std::chrono::milliseconds patience);
    [[nodiscard]] bool isUsable(const QByteArray &entry, std::chrono::milliseconds patience);

    Server m_server;
    QByteArray m_platform;
};

/// Hides the desktop's name and any wish for a theme from Qt. Its theme plugins would load a second toolkit (with GTK 3
/// some 7 MiB and 20 ms), and everything that is seen here has a look of its own.
void ignoreDesktopTheme();
