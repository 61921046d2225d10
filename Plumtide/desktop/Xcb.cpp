#include "Plumtide/desktop/Xcb.h"

#include <QGuiApplication>

#if QT_VERSION < QT_VERSION_CHECK(6, 8, 2)
#include <cstdlib>

#include <dlfcn.h>

// In place of libxcb-randr's: Qt 6.4 reads the answer about a screen that XWayland has just taken away through the null
// pointer that it is (seen with KWin 5.27; mended in Qt 6.8.2 at the latest). It gets an empty one, and hears of the
// change next.
extern "C" void *xcb_randr_get_crtc_info_reply(xcb_connection_t *connection, xcb_void_cookie_t cookie,
                                               xcb_generic_error_t **error)
{
    constexpr std::size_t answerSize = 32;
    static auto *const original = reinterpret_cast<decltype(&xcb_randr_get_crtc_info_reply)>(
        ::dlsym(::dlopen("libxcb-randr.so.0", RTLD_LAZY), "xcb_randr_get_crtc_info_reply"));
    void *const answer = original(connection, cookie, error);
    return answer ? answer : std::calloc(1, answerSize);
}
#endif

xcb_connection_t *xcbConnection()
{
    const auto *const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t *const connection = x11 ? x11->connection() : nullptr;
    return connection && !xcb_connection_has_error(connection) ? connection : nullptr;
}

xcb_window_t xcbRoot(xcb_connection_t *connection)
{
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
}

xcb_atom_t xcbAtom(xcb_connection_t *connection, const QByteArray &name)
{
    const auto question = xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    const XcbReply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(connection, question, nullptr)};
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

QByteArray xcbProperty(xcb_connection_t *connection, xcb_window_t window, const QByteArray &name)
{
    const auto question =
        xcb_get_property(connection, 0, window, xcbAtom(connection, name), XCB_GET_PROPERTY_TYPE_ANY, 0, 4096);
    const XcbReply<xcb_get_property_reply_t> reply{xcb_get_property_reply(connection, question, nullptr)};
    if (!reply)
        return {};
    return {static_cast<const char *>(xcb_get_property_value(reply.get())), xcb_get_property_value_length(reply.get())};
}
