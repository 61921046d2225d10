#include "Plumtide/desktop/XcbEvents.h"

#include "Plumtide/desktop/Xcb.h"

#include <QCoreApplication>

#include <utility>

#include <xcb/xfixes.h>
#include <xcb/xinput.h>

void XcbEvents::listen(bool isListening)
{
    auto *const application = QCoreApplication::instance();
    isListening ? application->installNativeEventFilter(this) : application->removeNativeEventFilter(this);
}

bool XcbEvents::nativeEventFilter(const QByteArray &eventType, void *message, qintptr * /*result*/)
{
    constexpr uint8_t sentByClient = 0x80; // a flag in the type
    if (eventType == "xcb_generic_event_t")
        handle(static_cast<const xcb_generic_event_t *>(message)->response_type & ~sentByClient, message);
    return false; // Qt handles it, too
}

void ActiveWindow::handle(uint8_t type, const void *event)
{
    const XcbConnection xcb;
    if (type == XCB_PROPERTY_NOTIFY && xcb
        && static_cast<const xcb_property_notify_event_t *>(event)->atom == xcb.atom("_NET_ACTIVE_WINDOW"))
        Q_EMIT changed();
}

ManagerSelection::ManagerSelection(const char *name)
{
    const XcbConnection xcb;
    if (!xcb)
        return;
    m_selection = xcb.atom(name);
    if (const auto *const xfixes = xcb_get_extension_data(xcb, &xcb_xfixes_id); xfixes && xfixes->present) {
        m_eventType = static_cast<uint8_t>(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
        xcb_xfixes_select_selection_input(xcb, xcb.root(), m_selection,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        listen(true);
    }
    const auto owner = xcb.reply(xcb_get_selection_owner_reply, xcb_get_selection_owner(xcb, m_selection));
    m_isOwned = owner && owner->owner != XCB_WINDOW_NONE;
}

void ManagerSelection::handle(uint8_t type, const void *event)
{
    const auto *const notify = static_cast<const xcb_xfixes_selection_notify_event_t *>(event);
    if (type != m_eventType || notify->selection != m_selection)
        return;
    const bool isOwned =
        notify->subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER && notify->owner != XCB_WINDOW_NONE;
    if (std::exchange(m_isOwned, isOwned) != isOwned)
        Q_EMIT changed(isOwned);
}

void PointerPresses::follow(bool isFollowing)
{
    const XcbConnection xcb;
    const xcb_query_extension_reply_t *const input = xcb ? xcb_get_extension_data(xcb, &xcb_input_id) : nullptr;
    if (!input || !input->present)
        return;
    m_opcode = input->major_opcode;
    const struct
    {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, isFollowing ? uint32_t{XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS} : 0};
    xcb_input_xi_select_events(xcb, xcb.root(), 1, &mask.head);
    xcb_flush(xcb);
    listen(isFollowing);
}

void PointerPresses::handle(uint8_t type, const void *event)
{
    const auto *const generic = static_cast<const xcb_ge_generic_event_t *>(event);
    if (type == XCB_GE_GENERIC && generic->extension == m_opcode && generic->event_type == XCB_INPUT_RAW_BUTTON_PRESS)
        Q_EMIT pressed();
}
