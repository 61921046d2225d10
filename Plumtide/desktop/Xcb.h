#pragma once

#include <QByteArray>

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

/// Frees what XCB has allocated for its caller.
struct XcbFree
{
    void operator()(void *memory) const { std::free(memory); }
};

/// An answer of the X server; null when there was none.
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;

/// Qt's connection to the X server; null on other platforms, without windows, and after the server has gone.
[[nodiscard]] xcb_connection_t *xcbConnection();

/// The root window of the first screen, the only one that Qt uses.
[[nodiscard]] xcb_window_t xcbRoot(xcb_connection_t *connection);

/// Asks the server for a property of at most 16 KiB; empty when there is none.
[[nodiscard]] QByteArray xcbProperty(xcb_connection_t *connection, xcb_window_t window, const QByteArray &name);

/// Asks the server.
[[nodiscard]] xcb_atom_t xcbAtom(xcb_connection_t *connection, const QByteArray &name);
