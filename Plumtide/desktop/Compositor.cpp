#include "Plumtide/desktop/Compositor.h"

#include "Plumtide/desktop/XcbReply.h"

#include <QGuiApplication>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

using namespace Qt::StringLiterals;

Compositor::Compositor(QObject *parent) : QObject(parent)
{
    const auto *const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t *const connection = x11 ? x11->connection() : nullptr;
    if (!connection || xcb_connection_has_error(connection))
        return;
    static constexpr QByteArrayView name = "_NET_WM_CM_S0"; // Qt uses the first screen of a display
    const auto atomQuestion = xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.data());
    const XcbReply<xcb_intern_atom_reply_t> atom{xcb_intern_atom_reply(connection, atomQuestion, nullptr)};
    if (!atom)
        return;
    m_selection = atom->atom;

    const xcb_query_extension_reply_t *const xfixes = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (xfixes && xfixes->present) {
        m_selectionEventType = static_cast<uint8_t>(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        xcb_xfixes_select_selection_input(connection, root, m_selection,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        qApp->installNativeEventFilter(this);
    }
    const auto question = xcb_get_selection_owner(connection, m_selection);
    const XcbReply<xcb_get_selection_owner_reply_t> owner{xcb_get_selection_owner_reply(connection, question, nullptr)};
    m_isRunning = owner && owner->owner != XCB_WINDOW_NONE;
}

Compositor::~Compositor() = default;

bool Compositor::nativeEventFilter(const QByteArray &eventType, void *message, qintptr * /*result*/)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    if ((event->response_type & 0x7f) != m_selectionEventType)
        return false;
    const auto *notice = reinterpret_cast<const xcb_xfixes_selection_notify_event_t *>(event);
    if (notice->selection != m_selection)
        return false;
    const bool isRunning =
        notice->subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER && notice->owner != XCB_WINDOW_NONE;
    if (isRunning != m_isRunning) {
        m_isRunning = isRunning;
        Q_EMIT changed(isRunning);
    }
    return false; // Qt follows it, too
}
