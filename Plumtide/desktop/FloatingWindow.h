#pragma once

#include <QWindow>

/// Properties of windows that float beside the user's work, for which Qt has no call. All of it does nothing on
/// platforms other than "xcb". Thread: main thread.
namespace FloatingWindow {

enum class Desktops { Current, All };

/// To be called before every show of a hidden window: window managers forget these properties when it hides. Keeps
/// the window out of the task bar and the pager (Qt::Tool alone does not on Xfce). `token`, of the start or the click
/// that asks for the window, lets it take the focus where the window manager protects that.
void prepare(QWindow &window, Desktops desktops, const QByteArray &token = {});

/// Where Qt keeps the token of a click in the tray, and where it takes one from under Wayland.
inline constexpr auto tokenVariable = "XDG_ACTIVATION_TOKEN";

/// What `token` stands for has come to its end: the desktop need not show a busy pointer any longer.
void endStartup(const QByteArray &token);

/// Flags to be added when the window is made. Inside a Wayland session, the compositor places and stacks an X11
/// window as it likes and gives it the focus, unless the window bypasses the window manager (seen with sway 1.7).
[[nodiscard]] Qt::WindowFlags additionalFlags();

/// Whether a mouse button, Alt or Super is down, wherever on the screen: so a move that the window manager reports now
/// is one that the user makes with the mouse. Some window managers report it during the drag, others after its end,
/// when the key is usually still down. Asks the server.
[[nodiscard]] bool isHeldByUser();

} // namespace FloatingWindow
