#include "Plumtide/desktop/FloatingWindow.h"

#include "Plumtide/desktop/Xcb.h"

#include <QScreen>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include <xcb/xfixes.h>

namespace {

std::vector<uint32_t> numbers(xcb_connection_t *connection, xcb_window_t window, const char *property)
{
    const QByteArray bytes = xcbProperty(connection, window, property);
    std::vector<uint32_t> result(static_cast<std::size_t>(bytes.size()) / sizeof(uint32_t));
    std::memcpy(result.data(), bytes.constData(), result.size() * sizeof(uint32_t));
    return result;
}

// The X server's pixels then belong to a compositor that counts in other ones.
bool isWaylandSession()
{
    return qgetenv("XDG_SESSION_TYPE") == "wayland" || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// What the desktop's bars leave of all screens together, in the X server's pixels; empty if nobody says so.
QRectF roomLeftByBars(xcb_connection_t *connection)
{
    const xcb_window_t root = xcbRoot(connection);
    const auto area = numbers(connection, root, "_NET_WORKAREA");
    const auto desktop = numbers(connection, root, "_NET_DESKTOP_GEOMETRY");
    const XcbReply<xcb_get_geometry_reply_t> screen{
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, root), nullptr)};
    if (area.size() < 4)
        return {};
    const QRectF room(area[0], area[1], area[2], area[3]);
    // After a change of the scale, KWin under Wayland goes on counting by the scale before: 5.27 the desktop, 6.3 both.
    // (At a login with a scale, it counts the desktop, which is then the smaller one, by none.)
    const bool spansScreen = screen && (area[2] == screen->width || area[3] == screen->height);
    const bool fitsDesktop = desktop.size() >= 2 && desktop[0] >= area[2] && desktop[1] >= area[3];
    const bool isStale = isWaylandSession() && screen && !spansScreen && fitsDesktop;
    const double scale = isStale ? 1.0 * screen->width / desktop[0] : 1;
    return {room.topLeft() * scale, room.size() * scale};
}

} // namespace

void FloatingWindow::prepare(QWindow &window, const QByteArray &token)
{
    if (!token.isEmpty())
        qputenv(tokenVariable, token);
    xcb_connection_t *const connection = xcbConnection();
    if (!connection)
        return;
    const auto id = static_cast<xcb_window_t>(window.winId());
    const xcb_atom_t states[] = {xcbAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                                 xcbAtom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    xcb_change_property(connection, XCB_PROP_MODE_APPEND, id, xcbAtom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32,
                        2, states);
    if (window.flags().testFlag(Qt::WindowDoesNotAcceptFocus)) {
        const xcb_atom_t type = xcbAtom(connection, "_NET_WM_WINDOW_TYPE_UTILITY");
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, xcbAtom(connection, "_NET_WM_WINDOW_TYPE"),
                            XCB_ATOM_ATOM, 32, 1, &type);
        // Qt (6.4 to 6.11) refuses only one of the two ways in which a window manager gives the focus (ICCCM, 4.1.7).
        // By the other, xfwm4 4.20 and marco 1.26 would pass it on when a window closes, and then nobody would have it.
        std::vector<uint32_t> protocols = numbers(connection, id, "WM_PROTOCOLS");
        std::erase(protocols, xcbAtom(connection, "WM_TAKE_FOCUS"));
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, xcbAtom(connection, "WM_PROTOCOLS"), XCB_ATOM_ATOM,
                            32, static_cast<uint32_t>(protocols.size()), protocols.data());
    }
    if (!token.isEmpty()) // startup notification of freedesktop.org, 0.1
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, xcbAtom(connection, "_NET_STARTUP_ID"),
                            xcbAtom(connection, "UTF8_STRING"), 8, static_cast<uint32_t>(token.size()),
                            token.constData());
    xcb_flush(connection);
}

void FloatingWindow::putOnAllDesktops(QWindow &window)
{
    xcb_connection_t *const connection = xcbConnection();
    if (!connection)
        return;
    const auto ask = [&](const char *what, std::array<uint32_t, 5> how) { // EWMH
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = static_cast<xcb_window_t>(window.winId());
        event.type = xcbAtom(connection, what);
        std::ranges::copy(how, event.data.data32);
        xcb_send_event(connection, 0, xcbRoot(connection),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char *>(&event));
    };
    constexpr uint32_t all = 0xFFFFFFFF, remove = 0, byProgram = 1;
    ask("_NET_WM_DESKTOP", {all, byProgram});
    // KWin (5.27, 6.3) means that a window which does not want the focus wants the user.
    ask("_NET_WM_STATE", {remove, xcbAtom(connection, "_NET_WM_STATE_DEMANDS_ATTENTION"), 0, byProgram});
    xcb_flush(connection);
}

void FloatingWindow::takeClicksIn(QWindow &window, const QRect &area)
{
    xcb_connection_t *const connection = xcbConnection();
    if (!connection)
        return;
    const double ratio = window.devicePixelRatio();
    const QRect device = QRectF(area.topLeft() * ratio, area.size() * ratio).toAlignedRect();
    const xcb_rectangle_t box{static_cast<int16_t>(device.x()), static_cast<int16_t>(device.y()),
                              static_cast<uint16_t>(device.width()), static_cast<uint16_t>(device.height())};
    const xcb_xfixes_region_t region = xcb_generate_id(connection);
    xcb_xfixes_create_region(connection, region, 1, &box);
    xcb_xfixes_set_window_shape_region(connection, static_cast<xcb_window_t>(window.winId()), XCB_SHAPE_SK_INPUT, 0, 0,
                                       region);
    xcb_xfixes_destroy_region(connection, region);
    xcb_flush(connection);
}

void FloatingWindow::endStartup(const QByteArray &token)
{
    qunsetenv(tokenVariable);
    xcb_connection_t *const connection = xcbConnection();
    if (!connection || token.isEmpty())
        return;
    // In pieces of 20 bytes with a zero at the end, from a window that names the sender and need not be mapped.
    const QByteArray text = "remove: ID=" + token + '\0';
    const xcb_window_t root = xcbRoot(connection);
    const xcb_window_t sender = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, sender, root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 8;
    event.window = sender;
    for (qsizetype at = 0; at < text.size(); at += 20) {
        event.type = xcbAtom(connection, at == 0 ? "_NET_STARTUP_INFO_BEGIN" : "_NET_STARTUP_INFO");
        const QByteArray piece = text.mid(at, 20).leftJustified(20, '\0');
        std::memcpy(event.data.data8, piece.constData(), sizeof event.data.data8);
        xcb_send_event(connection, 0, root, XCB_EVENT_MASK_PROPERTY_CHANGE, reinterpret_cast<const char *>(&event));
    }
    xcb_destroy_window(connection, sender);
    xcb_flush(connection);
}

Qt::WindowFlags FloatingWindow::flagsAboveOthers()
{
    xcb_connection_t *const connection = xcbConnection();
    if (!connection)
        return {};
    const auto supported = numbers(connection, xcbRoot(connection), "_NET_SUPPORTED");
    const bool isKept = std::ranges::count(supported, xcbAtom(connection, "_NET_WM_STATE_ABOVE")) > 0;
    return isKept ? Qt::WindowFlags() : Qt::X11BypassWindowManagerHint;
}

bool FloatingWindow::isPointerKnown()
{
    return !isWaylandSession();
}

QRect FloatingWindow::workArea(const QScreen &screen)
{
    const QRect all = screen.geometry();
    QRect left = screen.availableGeometry();
    // Read from the window manager, since Qt leaves the bars out of it where there are several screens.
    if (xcb_connection_t *const connection = xcbConnection()) {
        const double ratio = screen.devicePixelRatio();
        const QRectF part = QRectF(all.topLeft(), all.size() * ratio).intersected(roomLeftByBars(connection));
        left = QRectF(all.topLeft() + (part.topLeft() - all.topLeft()) / ratio, part.size() / ratio).toRect();
    }
    // A bar of Plasma 6 floats, but takes only as much of the screen as if it did not.
    constexpr int floatingGap = 8;
    if (qEnvironmentVariableIntValue("KDE_SESSION_VERSION") >= 6) {
        const auto gap = [](int bar) { return bar != 0 ? floatingGap : 0; };
        left.adjust(gap(left.left() - all.left()), gap(left.top() - all.top()), -gap(left.right() - all.right()),
                    -gap(left.bottom() - all.bottom()));
    }
    return left.width() * 2 > all.width() && left.height() * 2 > all.height() ? left : all;
}

bool FloatingWindow::isHeldByUser()
{
    xcb_connection_t *const connection = xcbConnection();
    if (!connection)
        return false;
    const auto question = xcb_query_pointer(connection, xcbRoot(connection));
    const XcbReply<xcb_query_pointer_reply_t> reply{xcb_query_pointer_reply(connection, question, nullptr)};
    constexpr unsigned alt = XCB_MOD_MASK_1, super = XCB_MOD_MASK_4;
    constexpr unsigned buttons = XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3;
    return reply && (reply->mask & (buttons | alt | super)) != 0;
}
