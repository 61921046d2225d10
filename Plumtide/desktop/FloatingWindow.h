#pragma once

#include <QRect>
#include <QWindow>

/// What Qt has no call for: properties of windows, which change on X11 only, the startup token, the work area.
namespace FloatingWindow {

/// To be called before every show: window managers forget these properties when a window hides. Keeps it out of the
/// task bar and the pager. A window that does not accept the focus becomes a utility (KWin 5.27 shows a `Qt::Tool` only
/// on the desktop of another window); others do not, since GNOME (43, 48) does not focus a utility that was opened
/// under the overview. With the `token` of the start or click that asks for it, the window may take the focus.
void prepare(QWindow &window, const QByteArray &token = {});

/// To be called after every show: before it, xfwm4 4.18 takes the last desktop. Also ends a demand for attention.
void putOnAllDesktops(QWindow &window);

/// Passes clicks beside `area` (in the window, logical pixels) on to what is below. To be called after each resize.
void setInputRegion(QWindow &window, const QRect &area);

/// The environment variable in which Qt puts the token of a click in the tray, and takes one from under Wayland.
inline constexpr auto tokenVariable = "XDG_ACTIVATION_TOKEN";

/// Tells the desktop that the start which `token` stands for is complete: it stops showing a busy pointer.
void endStartup(const QByteArray &token);

/// Flags for a window above the others, without the focus: it bypasses a manager that knows no "above" (wlroots, i3).
[[nodiscard]] Qt::WindowFlags flagsAboveOthers();

/// In a Wayland session the X server knows where the pointer is only while it is over one of its own windows.
[[nodiscard]] bool isWaylandSession();

/// The part of a screen without the desktop's bars. All of it where the window manager gives none, or an absurd one.
[[nodiscard]] QRect workArea(const QScreen &screen);

/// Asks the X server whether a mouse button, Alt or Super is down: then a move that the window manager reports is the
/// user's drag. Some report it after the drag, when the key is usually still down.
[[nodiscard]] bool isButtonOrModifierDown();

} // namespace FloatingWindow
