#include "Plumtide/desktop/ActiveWindow.h"

#include "Plumtide/desktop/Xcb.h"

#include <QGuiApplication>

ActiveWindow::ActiveWindow(QObject *parent) : QObject(parent)
{
    if (const XcbConnection xcb; xcb) {
        m_property = xcb.atom("_NET_ACTIVE_WINDOW");
        qApp->installNativeEventFilter(this); // Qt hears of the root window's properties
    }
}

bool ActiveWindow::nativeEventFilter(const QByteArray &eventType, void *message, qintptr * /*result*/)
{
    const auto *notice = static_cast<const xcb_property_notify_event_t *>(message);
    if (eventType == "xcb_generic_event_t" && (notice->response_type & 0x7f) == XCB_PROPERTY_NOTIFY
        && notice->atom == m_property)
        Q_EMIT changed();
    return false;
}
