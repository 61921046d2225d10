#pragma once

#include <QByteArray>

#include <memory>

struct xcb_connection_t;

/// A display that Qt can draw on. Without one Qt would end the process, so the program then has no windows.
struct UsableDisplay
{
    QByteArray platform = {}; ///< A value for `$QT_QPA_PLATFORM`, empty where none works.
    /// To be kept until Qt has connected: an X server that loses its last client may reset and drop new ones.
    std::shared_ptr<xcb_connection_t> server = {};
};

/// The first platform that works of: the values of `$QT_QPA_PLATFORM`; "xcb", preferred also in a Wayland session,
/// since Wayland lets no window choose its place; "wayland". Waits up to two seconds for an X server, which behind a
/// dead network connection never answers. Call it before the application object exists.
[[nodiscard]] UsableDisplay findDisplay();

/// Hides the desktop's theme from Qt, whose plugins would load a toolkit that draws nothing here (GTK 3: 7 MiB, 20 ms).
void ignoreDesktopTheme();
