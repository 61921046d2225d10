#pragma once

#include <QRect>
#include <QWindow>

/// Properties of windows that float beside the user's work, for which Qt has no call. All of it does nothing on
/// platforms other than "xcb". Thread: main thread.
namespace FloatingWindow {

/// To be called before every show of a hidden window: window managers forget these properties when it hides. Keeps
/// the window out of the task bar and the pager, and makes it a utility (`Qt::Tool` would make it a part of another
/// window, which KWin 5.27 then shows on that one's desktop only). `token`, of the start or the click that asks for the
/// window, lets it take the focus where the window manager protects that.
void prepare(QWindow &window, const QByteArray &token = {});

/// To be called after every show of a window that is there for all desktops and asks for nothing. (What it says before
/// that, xfwm4 4.18 takes for the last desktop.)
void putOnAllDesktops(QWindow &window);

/// Lets clicks beside `area` (in the window, logical pixels) go to what lies below the window. To be called after every
/// change of its size.
void takeClicksIn(QWindow &window, const QRect &area);

/// Where Qt keeps the token of a click in the tray, and where it takes one from under Wayland.
inline constexpr auto tokenVariable = "XDG_ACTIVATION_TOKEN";

/// What `token` stands for has come to its end: the desktop need not show a busy pointer any longer.
void endStartup(const QByteArray &token);

/// Flags to be added when a window is made that stays above the others and never has the focus: it bypasses a window
/// manager that has no "above" (wlroots, i3).
[[nodiscard]] Qt::WindowFlags flagsAboveOthers();

/// Whether the pointer's place is to be believed: not in a Wayland session, where an X server hears of the pointer only
/// while it is over one of its own windows.
[[nodiscard]] bool isPointerKnown();

/// What the desktop's bars leave of a screen; all of it where the window manager says nothing of them, or what cannot
/// be.
[[nodiscard]] QRect workArea(const QScreen &screen);

/// Whether a mouse button, Alt or Super is down, wherever on the screen: so a move that the window manager reports now
/// is one that the user makes with the mouse. Some window managers report it during the drag, others after its end,
/// when the key is usually still down. Asks the server.
[[nodiscard]] bool isHeldByUser();

} // namespace FloatingWindow
