#include "Plumtide/desktop/FloatingWindow.h"

#include "Plumtide/desktop/Xcb.h"

#include <QScreen>

#include <cstring>

#include <xcb/xfixes.h>

namespace {

// Of all screens together, in the X server's pixels; empty where the window manager does not tell it.
QRectF areaWithoutBars(const XcbConnection &xcb)
{
    const auto area = xcb.numbers(xcb.root(), "_NET_WORKAREA");
    const auto desktop = xcb.numbers(xcb.root(), "_NET_DESKTOP_GEOMETRY");
    const auto screen = xcb.reply(xcb_get_geometry_reply, xcb_get_geometry(xcb, xcb.root()));
    if (area.size() < 4)
        return {};
    // After a change of the scale, KWin under Wayland still gives numbers of the scale before: 5.27 of the desktop, 6.3
    // of both. (At a login with a scale, those of the desktop are unscaled, and smaller.)
    const bool spansScreen = screen && (area[2] == screen->width || area[3] == screen->height);
    const bool fitsDesktop = desktop.size() >= 2 && desktop[0] >= area[2] && desktop[1] >= area[3];
    const bool isStale = FloatingWindow::isWaylandSession() && screen && !spansScreen && fitsDesktop;
    const double scale = isStale ? 1.0 * screen->width / desktop[0] : 1;
    return QRectF(area[0] * scale, area[1] * scale, area[2] * scale, area[3] * scale);
}

} // namespace

void FloatingWindow::prepare(QWindow &window, const QByteArray &token)
{
    if (!token.isEmpty())
        qputenv(tokenVariable, token);
    const XcbConnection xcb;
    if (!xcb)
        return;
    const auto id = static_cast<xcb_window_t>(window.winId());
    xcb.setNumbers(id, "_NET_WM_STATE", XCB_ATOM_ATOM,
                   {xcb.atom("_NET_WM_STATE_SKIP_TASKBAR"), xcb.atom("_NET_WM_STATE_SKIP_PAGER")},
                   XCB_PROP_MODE_APPEND);
    if (window.flags().testFlag(Qt::WindowDoesNotAcceptFocus)) {
        xcb.setNumbers(id, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, {xcb.atom("_NET_WM_WINDOW_TYPE_UTILITY")});
        // Qt (6.4 to 6.11) refuses only one of the two ways of giving the focus to a window (ICCCM, 4.1.7). By the
        // other, xfwm4 4.20 and marco 1.26 would give it to this one when another closes, and no window would have it.
        QList<uint32_t> protocols = xcb.numbers(id, "WM_PROTOCOLS");
        protocols.removeAll(xcb.atom("WM_TAKE_FOCUS"));
        xcb.setNumbers(id, "WM_PROTOCOLS", XCB_ATOM_ATOM, protocols);
    }
    if (!token.isEmpty()) // startup notification of freedesktop.org, 0.1
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, id, xcb.atom("_NET_STARTUP_ID"), xcb.atom("UTF8_STRING"), 8,
                            static_cast<uint32_t>(token.size()), token.constData());
    xcb_flush(xcb);
}

void FloatingWindow::putOnAllDesktops(QWindow &window)
{
    const XcbConnection xcb;
    if (!xcb)
        return;
    const auto id = static_cast<xcb_window_t>(window.winId());
    xcb.send(id, "_NET_WM_DESKTOP", {.data32 = {xcb.allDesktops, xcb.fromApplication}});
    // KWin (5.27, 6.3) sets this state for a window that does not accept the focus.
    const xcb_atom_t attention = xcb.atom("_NET_WM_STATE_DEMANDS_ATTENTION");
    xcb.send(id, "_NET_WM_STATE", {.data32 = {xcb.removeState, attention, 0, xcb.fromApplication}});
}

void FloatingWindow::setInputRegion(QWindow &window, const QRect &area)
{
    const XcbConnection xcb;
    if (!xcb)
        return;
    const double ratio = window.devicePixelRatio();
    const QRect device = QRectF(area.topLeft() * ratio, area.size() * ratio).toAlignedRect();
    const xcb_rectangle_t box{static_cast<int16_t>(device.x()), static_cast<int16_t>(device.y()),
                              static_cast<uint16_t>(device.width()), static_cast<uint16_t>(device.height())};
    const xcb_xfixes_region_t region = xcb_generate_id(xcb);
    xcb_xfixes_create_region(xcb, region, 1, &box);
    xcb_xfixes_set_window_shape_region(xcb, static_cast<xcb_window_t>(window.winId()), XCB_SHAPE_SK_INPUT, 0, 0,
                                       region);
    xcb_xfixes_destroy_region(xcb, region);
    xcb_flush(xcb);
}

void FloatingWindow::endStartup(const QByteArray &token)
{
    qunsetenv(tokenVariable);
    const XcbConnection xcb;
    if (!xcb || token.isEmpty())
        return;
    // Sent in pieces of 20 bytes, with a zero at the end. The window identifies the sender, and need not be mapped.
    const QByteArray text = "remove: ID=" + token + '\0';
    const xcb_window_t sender = xcb_generate_id(xcb);
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, sender, xcb.root(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    for (qsizetype at = 0; at < text.size(); at += 20) {
        xcb_client_message_data_t data{};
        std::memcpy(data.data8, text.constData() + at, static_cast<std::size_t>(qMin<qsizetype>(20, text.size() - at)));
        xcb.send(sender, at == 0 ? "_NET_STARTUP_INFO_BEGIN" : "_NET_STARTUP_INFO", data, 8,
                 XCB_EVENT_MASK_PROPERTY_CHANGE);
    }
    xcb_destroy_window(xcb, sender);
    xcb_flush(xcb);
}

Qt::WindowFlags FloatingWindow::flagsAboveOthers()
{
    const XcbConnection xcb;
    if (!xcb)
        return {};
    const bool hasAbove = xcb.numbers(xcb.root(), "_NET_SUPPORTED").contains(xcb.atom("_NET_WM_STATE_ABOVE"));
    return hasAbove ? Qt::WindowFlags() : Qt::X11BypassWindowManagerHint;
}

bool FloatingWindow::isWaylandSession()
{
    return qgetenv("XDG_SESSION_TYPE") == "wayland" || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

QRect FloatingWindow::workArea(const QScreen &screen)
{
    const QRect all = screen.geometry();
    QRect left = screen.availableGeometry();
    // Asked of the window manager, since Qt ignores the bars where there are several screens.
    if (const XcbConnection xcb; xcb) {
        const double ratio = screen.devicePixelRatio();
        const QRectF part = QRectF(all.topLeft(), all.size() * ratio).intersected(areaWithoutBars(xcb));
        left = QRectF(all.topLeft() + (part.topLeft() - all.topLeft()) / ratio, part.size() / ratio).toRect();
    }
    // The bars of Plasma 6 float, but reserve only their own height.
    constexpr int floatingGap = 8;
    if (qEnvironmentVariableIntValue("KDE_SESSION_VERSION") >= 6) {
        const auto gap = [](int bar) { return bar != 0 ? floatingGap : 0; };
        left.adjust(gap(left.left() - all.left()), gap(left.top() - all.top()), -gap(left.right() - all.right()),
                    -gap(left.bottom() - all.bottom()));
    }
    return left.width() * 2 > all.width() && left.height() * 2 > all.height() ? left : all;
}

bool FloatingWindow::isButtonOrModifierDown()
{
    const XcbConnection xcb;
    if (!xcb)
        return false;
    const auto pointer = xcb.reply(xcb_query_pointer_reply, xcb_query_pointer(xcb, xcb.root()));
    constexpr unsigned alt = XCB_MOD_MASK_1, super = XCB_MOD_MASK_4;
    constexpr unsigned buttons = XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3;
    return pointer && (pointer->mask & (buttons | alt | super)) != 0;
}
