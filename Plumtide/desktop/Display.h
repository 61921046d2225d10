#pragma once

#include <QByteArray>

#include <chrono>

// Qt ends the process when it cannot start its platform plugin. So before a QGuiApplication is made, this is
// asked which display it can draw on; without any, the program goes on without windows, on a
// QCoreApplication.
// Thread: main thread, before the application object exists. (Free functions: X11 owns the name Display.)

/// How long a display may take to answer. An X server beyond a dead network connection never does.
inline constexpr std::chrono::milliseconds displayPatience{2'000};

/// A value for `$QT_QPA_PLATFORM` that will work, or empty. In this order: what that variable names now (of a
/// list the first that works); "xcb" where an X server answers, also the one inside a Wayland session, since
/// Wayland itself gives windows neither a place nor a stacking; "wayland".
[[nodiscard]] QByteArray usableDisplayPlatform(std::chrono::milliseconds patience = displayPatience);

/// Sets `$QT_QPA_PLATFORM` to the usable platform. False, and nothing is set, when there is none.
[[nodiscard]] bool chooseDisplayPlatform(std::chrono::milliseconds patience = displayPatience);

/// Hides the desktop's name and any wish for a theme from Qt. Its theme plugins would load a second toolkit (with GTK 3
/// some 7 MiB and 20 ms), and everything that is seen here has a look of its own.
void ignoreDesktopTheme();
