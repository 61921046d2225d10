#include "Plumtide/desktop/FloatingWindow.h"

#include "Plumtide/desktop/XcbReply.h"

#include <QGuiApplication>

#include <array>
#include <cstring>

#include <xcb/xcb.h>

namespace {

enum Atom : std::size_t { State, SkipTaskbar, SkipPager, Desktop, AtomCount };
using Atoms = std::array<xcb_atom_t, AtomCount>;

xcb_connection_t *serverConnection()
{
    const auto *const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t *const connection = x11 ? x11->connection() : nullptr;
    return connection && !xcb_connection_has_error(connection) ? connection : nullptr;
}

Atoms askAtoms(xcb_connection_t *connection)
{
    static constexpr std::array<const char *, AtomCount> names = {"_NET_WM_STATE", "_NET_WM_STATE_SKIP_TASKBAR",
                                                                  "_NET_WM_STATE_SKIP_PAGER", "_NET_WM_DESKTOP"};
    std::array<xcb_intern_atom_cookie_t, AtomCount> questions{}; // all first, so that it is one wait
    for (std::size_t i = 0; i < AtomCount; ++i)
        questions[i] = xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(names[i])), names[i]);
    Atoms atoms{};
    for (std::size_t i = 0; i < AtomCount; ++i) {
        const XcbReply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(connection, questions[i], nullptr)};
        atoms[i] = reply ? reply->atom : 0;
    }
    return atoms;
}

} // namespace

void FloatingWindow::prepare(QWindow &window, Desktops desktops)
{
    xcb_connection_t *const connection = serverConnection();
    if (!connection)
        return;
    static const Atoms atoms = askAtoms(connection);
    const auto id = static_cast<xcb_window_t>(window.winId());
    const xcb_atom_t states[] = {atoms[SkipTaskbar], atoms[SkipPager]};
    xcb_change_property(connection, XCB_PROP_MODE_APPEND, id, atoms[State], XCB_ATOM_ATOM, 32, 2, states);
    if (desktops == Desktops::All) {
        const uint32_t all = 0xFFFFFFFF; // EWMH
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, atoms[Desktop], XCB_ATOM_CARDINAL, 32, 1, &all);
    }
    xcb_flush(connection);
}

Qt::WindowFlags FloatingWindow::additionalFlags()
{
    const bool isWayland = qgetenv("XDG_SESSION_TYPE") == "wayland" || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    return isWayland && serverConnection() ? Qt::X11BypassWindowManagerHint : Qt::WindowFlags();
}

bool FloatingWindow::isHeldByUser()
{
    xcb_connection_t *const connection = serverConnection();
    if (!connection)
        return false;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const auto question = xcb_query_pointer(connection, root);
    const XcbReply<xcb_query_pointer_reply_t> reply{xcb_query_pointer_reply(connection, question, nullptr)};
    constexpr unsigned alt = XCB_MOD_MASK_1, super = XCB_MOD_MASK_4;
    constexpr unsigned buttons = XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3;
    return reply && (reply->mask & (buttons | alt | super)) != 0;
}
