#include "Plumtide/desktop/XembedTray.h"

#include "Plumtide/desktop/XcbReply.h"

#include <QByteArray>
#include <QSocketNotifier>

XembedTray::XembedTray(QObject *parent) : QObject(parent)
{
    int screenNumber = 0;
    m_connection.reset(xcb_connect(nullptr, &screenNumber));
    xcb_connection_t *const connection = m_connection.get();
    if (xcb_connection_has_error(connection)) {
        m_connection.reset();
        return;
    }
    xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screen.rem > 1; ++i)
        xcb_screen_next(&screen);
    m_root = screen.data->root;
    const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY; // MANAGER messages are sent with this mask
    xcb_change_window_attributes(connection, m_root, XCB_CW_EVENT_MASK, &events);

    const auto ask = [connection](const QByteArray &name) {
        return xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    };
    const xcb_intern_atom_cookie_t questions[] = {ask("MANAGER"),
                                                  ask("_NET_SYSTEM_TRAY_S" + QByteArray::number(screenNumber))};
    xcb_atom_t *const answers[] = {&m_manager, &m_selection};
    for (std::size_t i = 0; i < std::size(questions); ++i) {
        if (const XcbReply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(connection, questions[i], nullptr)})
            *answers[i] = reply->atom;
    }

    auto *notifier = new QSocketNotifier(xcb_get_file_descriptor(connection), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        readEvents();
        if (xcb_connection_has_error(m_connection.get())) // the server has gone, and takes the program with it
            notifier->setEnabled(false);
    });
}

XembedTray::~XembedTray() = default;

bool XembedTray::isThere()
{
    if (!m_connection)
        return false;
    const auto question = xcb_get_selection_owner(m_connection.get(), m_selection);
    const XcbReply<xcb_get_selection_owner_reply_t> reply{
        xcb_get_selection_owner_reply(m_connection.get(), question, nullptr)};
    // What came together with the answer is no longer on the socket, and would wake nobody.
    QMetaObject::invokeMethod(this, &XembedTray::readEvents, Qt::QueuedConnection);
    return reply && reply->owner != XCB_WINDOW_NONE;
}

void XembedTray::readEvents()
{
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection.get())}) {
        const auto *message = reinterpret_cast<const xcb_client_message_event_t *>(event.get());
        // The highest bit says that another client sent it, which is the case here.
        if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && message->format == 32 && message->type == m_manager
            && message->data.data32[1] == m_selection)
            Q_EMIT appeared();
    }
}
