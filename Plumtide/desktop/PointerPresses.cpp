#include "Plumtide/desktop/PointerPresses.h"

#include "Plumtide/desktop/Xcb.h"

#include <QGuiApplication>

#include <xcb/xinput.h>

void PointerPresses::follow(bool isFollowing)
{
    const XcbConnection xcb;
    const xcb_query_extension_reply_t *const input = xcb ? xcb_get_extension_data(xcb, &xcb_input_id) : nullptr;
    if (!input || !input->present)
        return;
    m_opcode = input->major_opcode; // kept: once the connection is broken, nobody says it any more
    struct
    {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, 0};
    if (isFollowing)
        mask.bits = XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE;
    xcb_input_xi_select_events(xcb, xcb.root(), 1, &mask.head);
    xcb_flush(xcb);
    if (isFollowing)
        qApp->installNativeEventFilter(this);
    else
        qApp->removeNativeEventFilter(this);
}

bool PointerPresses::nativeEventFilter(const QByteArray &eventType, void *message, qintptr * /*result*/)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_ge_generic_event_t *>(message);
    if ((event->response_type & 0x7f) != XCB_GE_GENERIC || event->extension != m_opcode)
        return false;
    if (event->event_type == XCB_INPUT_RAW_BUTTON_PRESS)
        Q_EMIT pressed();
    else if (event->event_type == XCB_INPUT_RAW_BUTTON_RELEASE)
        Q_EMIT released();
    return false;
}
