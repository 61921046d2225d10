#include "Plumtide/desktop/FloatingWindow.h"

#include "Plumtide/desktop/Xcb.h"

#include <algorithm>
#include <cstring>

void FloatingWindow::prepare(QWindow &window, Desktops desktops, const QByteArray &token)
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
    if (desktops == Desktops::All) {
        const uint32_t all = 0xFFFFFFFF; // EWMH
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, xcbAtom(connection, "_NET_WM_DESKTOP"),
                            XCB_ATOM_CARDINAL, 32, 1, &all);
    }
    if (!token.isEmpty()) // startup notification of freedesktop.org, 0.1
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, xcbAtom(connection, "_NET_STARTUP_ID"),
                            xcbAtom(connection, "UTF8_STRING"), 8, static_cast<uint32_t>(token.size()),
                            token.constData());
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

Qt::WindowFlags FloatingWindow::additionalFlags()
{
    const bool isWayland = qgetenv("XDG_SESSION_TYPE") == "wayland" || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    return isWayland && xcbConnection() ? Qt::X11BypassWindowManagerHint : Qt::WindowFlags();
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
