#pragma once

#include <QByteArray>
#include <QList>
#include <QScopedPointer>

#include <xcb/xcb.h>

/// Qt's connection to the X server, with the requests that several files send over it. Convert it to a pointer before
/// use: that is null on other platforms, without windows, and after the server has gone. Thread: main thread.
class XcbConnection
{
public:
    XcbConnection();
    operator xcb_connection_t *() const { return m_connection; }

    // The numbers of EWMH, the protocol between window managers and other programs.
    static constexpr uint32_t allDesktops = 0xFFFFFFFF;
    static constexpr uint32_t removeState = 0;
    static constexpr uint32_t fromApplication = 1, fromPager = 2; ///< Who asks the window manager.
    static constexpr uint32_t toManager = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;

    /// Waits for the server's reply, which is null where it failed: `reply(xcb_x_reply, xcb_x(connection, ...))`.
    template <typename Reply, typename Cookie>
    [[nodiscard]] auto reply(Reply *(*receive)(xcb_connection_t *, Cookie, xcb_generic_error_t **), Cookie cookie) const
    {
        return QScopedPointer<Reply, QScopedPointerPodDeleter>(receive(m_connection, cookie, nullptr));
    }

    /// Of the first screen, the only one that Qt uses.
    [[nodiscard]] xcb_window_t root() const { return xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root; }
    [[nodiscard]] xcb_atom_t atom(const char *name) const; ///< Asks the server once for each name.

    /// At most 16 KiB of a property; empty where there is none.
    [[nodiscard]] QByteArray property(xcb_window_t window, const char *name) const;
    [[nodiscard]] QList<uint32_t> numbers(xcb_window_t window, const char *name) const; ///< The same of 32 bits each.
    void setNumbers(xcb_window_t window, const char *name, xcb_atom_t type, const QList<uint32_t> &values,
                    xcb_prop_mode_t mode = XCB_PROP_MODE_REPLACE) const;

    /// Sends the root window a client message about `window`, at once.
    void send(xcb_window_t window, const char *name, const xcb_client_message_data_t &data, uint8_t bits = 32,
              uint32_t receivers = toManager) const;

private:
    xcb_connection_t *m_connection = nullptr;
};
