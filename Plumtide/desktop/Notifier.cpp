#include "Plumtide/desktop/Notifier.h"

#include "Plumtide/desktop/FloatingWindow.h"
#include "Plumtide/system/Characters.h"
#include "Plumtide/system/Log.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QMetaMethod>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString serviceName = u"org.freedesktop.Notifications"_s;
const QString servicePath = u"/org/freedesktop/Notifications"_s;
const QString defaultAction = u"default"_s; // a click on the notification itself
const QString sessionAction = u"session"_s;

} // namespace

Notifier::Notifier() : m_bus(QDBusConnection::sessionBus())
{
    if (!m_bus.isConnected())
        return;
    m_bus.connect(serviceName, servicePath, serviceName, u"ActionInvoked"_s, this, SLOT(reportAction(uint, QString)));
    m_bus.connect(serviceName, servicePath, serviceName, u"ActivationToken"_s, this, SLOT(keepToken(uint, QString)));
    m_bus.connect(serviceName, servicePath, serviceName, u"NotificationClosed"_s, this, SLOT(forgetClosed(uint, uint)));
    auto *const service =
        new QDBusServiceWatcher(serviceName, m_bus, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(service, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        for (const Shown &shown : QHash(m_shown))
            forgetClosed(shown.number, 0);
    });
}

void Notifier::notify(const QString &title, const QString &body, const QString &id)
{
    if (!m_bus.isConnected() || (body.isEmpty() && !m_shown.contains(id)))
        return;
    Shown &shown = m_shown[id];
    shown.next.emplace(shortened(title), shortened(body));
    if (!shown.isPending)
        send(id);
}

template <typename Answered>
void Notifier::call(const QString &method, const QVariantList &arguments, Answered answered)
{
    QDBusMessage message = QDBusMessage::createMethodCall(serviceName, servicePath, serviceName, method);
    message.setArguments(arguments);
    auto *const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, answered] {
        watcher->deleteLater();
        if (watcher->isError())
            qCDebug(desktopLog) << "notifications:" << watcher->error();
        answered(*watcher);
    });
}

Notifier::~Notifier()
{
    for (const Shown &shown : std::as_const(m_shown)) {
        if (shown.number != 0)
            call(u"CloseNotification"_s, {shown.number}, [](const QDBusPendingCallWatcher &) {});
    }
}

void Notifier::send(const QString &id)
{
    m_shown[id].isPending = true;
    // Asked each time, since another service may run than before.
    call(u"GetCapabilities"_s, {}, [this, id](const QDBusPendingReply<QStringList> &capabilities) {
        const QStringList known = capabilities.isValid() ? capabilities.value() : QStringList();
        const auto [title, text] = *std::exchange(m_shown[id].next, std::nullopt);
        const auto answered = [this, id](const QDBusPendingReply<uint> &number) {
            m_shown[id] = {number.isValid() ? number.value() : 0, false, std::move(m_shown[id].next)};
            if (m_shown[id].next)
                send(id);
            else if (m_shown[id].number == 0)
                m_shown.remove(id);
        };
        if (text.isEmpty())
            return call(u"CloseNotification"_s, {m_shown[id].number}, answered); // the answer has no number
        const QVariantMap hints{
            {u"desktop-entry"_s, u"plumtide"_s},
            {u"sound-name"_s, u"message-new-instant"_s},
            {u"urgency"_s, QVariant::fromValue(uchar{1})}, // normal
        };
        QStringList actions;
        if (known.contains(u"actions"_s)) {
            if (isSignalConnected(QMetaMethod::fromSignal(&Notifier::activated))) // not without windows
                actions += {defaultAction, u"打开看板"_s};                        // some services draw a button for it
            actions += {sessionAction, u"前往会话"_s};
        }
        const QString body = known.contains(u"body-markup"_s) ? text.toHtmlEscaped() : text;
        const int expireTimeout = -1; // the service decides
        call(u"Notify"_s,
             {u"Plumtide"_s, m_shown[id].number, u"plumtide"_s, title, body, actions, hints, expireTimeout}, answered);
    });
}

void Notifier::reportAction(uint number, const QString &action)
{
    const auto shown = find(number);
    if (shown == m_shown.cend())
        return;
    const QByteArray token = std::exchange(m_token, {});
    if (action == defaultAction)
        Q_EMIT activated(QString(shown.key()), token); // a copy: the slots may change m_shown
    else
        FloatingWindow::endStartup(token); // GNOME shows a busy pointer, which the terminal would not end
    if (action == sessionAction)
        Q_EMIT sessionRequested(QString(shown.key()));
}

void Notifier::keepToken(uint number, const QString &token)
{
    if (find(number) != m_shown.cend())
        m_token = token.toUtf8(); // the action follows
}

QHash<QString, Notifier::Shown>::const_iterator Notifier::find(uint number) const
{
    const auto isMeant = [number](const Shown &shown) { return number != 0 && shown.number == number; };
    return std::find_if(m_shown.cbegin(), m_shown.cend(), isMeant);
}

void Notifier::forgetClosed(uint number, uint /*reason*/)
{
    for (Shown &shown : m_shown) {
        if (shown.number == number)
            shown.number = 0;
    }
    m_shown.removeIf([](const auto &entry) { return entry->number == 0 && !entry->isPending; });
}
