#include "Plumtide/desktop/Xcb.h"

#include <QGuiApplication>
#include <QHash>

#include <cstring>

#if QT_VERSION < QT_VERSION_CHECK(6, 8, 2)
#include <cstdlib>

#include <dlfcn.h>

// Replaces the function of libxcb-randr: Qt 6.4 dereferences its null reply about a screen that XWayland has just
// removed (seen with KWin 5.27; fixed in Qt 6.8.2 at the latest). An empty reply does no harm.
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

XcbConnection::XcbConnection()
{
    const auto *const application = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    const auto *const x11 = application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t *const connection = x11 ? x11->connection() : nullptr; // null on "offscreen"
    if (connection && xcb_connection_has_error(connection) == 0)
        m_connection = connection;
}

xcb_atom_t XcbConnection::atom(const char *name) const
{
    static QHash<QByteArray, xcb_atom_t> atoms; // the server keeps them as long as it runs
    xcb_atom_t &atom = atoms[name];
    if (atom == XCB_ATOM_NONE) {
        const auto request = xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(qstrlen(name)), name);
        const auto answer = reply(xcb_intern_atom_reply, request);
        atom = answer ? answer->atom : xcb_atom_t{XCB_ATOM_NONE};
    }
    return atom;
}

QByteArray XcbConnection::property(xcb_window_t window, const char *name) const
{
    const auto request = xcb_get_property(m_connection, 0, window, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, 4096);
    const auto answer = reply(xcb_get_property_reply, request);
    if (!answer)
        return {};
    return {static_cast<const char *>(xcb_get_property_value(answer.get())),
            xcb_get_property_value_length(answer.get())};
}

QList<uint32_t> XcbConnection::numbers(xcb_window_t window, const char *name) const
{
    const QByteArray bytes = property(window, name);
    QList<uint32_t> values(bytes.size() / qsizetype(sizeof(uint32_t)));
    std::memcpy(values.data(), bytes.constData(), static_cast<std::size_t>(values.size()) * sizeof(uint32_t));
    return values;
}

void XcbConnection::setNumbers(xcb_window_t window, const char *name, xcb_atom_t type, const QList<uint32_t> &values,
                               xcb_prop_mode_t mode) const
{
    xcb_change_property(m_connection, static_cast<uint8_t>(mode), window, atom(name), type, 32,
                        static_cast<uint32_t>(values.size()), values.constData());
}

void XcbConnection::send(xcb_window_t window, const char *name, const xcb_client_message_data_t &data, uint8_t bits,
                         uint32_t receivers) const
{
    const xcb_client_message_event_t event{XCB_CLIENT_MESSAGE, bits, 0, window, atom(name), data};
    xcb_send_event(m_connection, 0, root(), receivers, reinterpret_cast<const char *>(&event));
    xcb_flush(m_connection);
}
