#include "Plumtide/desktop/ManagerSelection.h"

#include "Plumtide/desktop/Xcb.h"

#include <QGuiApplication>

#include <xcb/xfixes.h>

ManagerSelection::ManagerSelection(const char *name, QObject *parent) : QObject(parent)
{
    const XcbConnection xcb;
    if (!xcb)
        return;
    m_selection = xcb.atom(name);
    const xcb_query_extension_reply_t *const xfixes = xcb_get_extension_data(xcb, &xcb_xfixes_id);
    if (xfixes && xfixes->present) {
        m_eventType = static_cast<uint8_t>(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
        xcb_xfixes_select_selection_input(xcb, xcb.root(), m_selection,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        qApp->installNativeEventFilter(this);
    }
    const auto owner = xcb.reply(xcb_get_selection_owner_reply, xcb_get_selection_owner(xcb, m_selection));
    m_isOwned = owner && owner->owner != XCB_WINDOW_NONE;
}

bool ManagerSelection::nativeEventFilter(const QByteArray &eventType, void *message, qintptr * /*result*/)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto *notice = static_cast<const xcb_xfixes_selection_notify_event_t *>(message);
    if ((notice->response_type & 0x7f) != m_eventType || notice->selection != m_selection)
        return false;
    const bool isOwned =
        notice->subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER && notice->owner != XCB_WINDOW_NONE;
    if (isOwned != m_isOwned) {
        m_isOwned = isOwned;
        Q_EMIT changed(isOwned);
    }
    return false; // Qt follows it, too
}
