#include "Plumtide/desktop/NotificationService.h"

#include "Plumtide/desktop/SessionBus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <algorithm>
#include <list>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

const QString serviceName = u"org.freedesktop.Notifications"_s;
const QString servicePath = u"/org/freedesktop/Notifications"_s;
const QString defaultAction = u"default"_s;

// There is none, or the bus tried to start one and could not.
bool isNoService(const QDBusError &error)
{
    return error.type() == QDBusError::ServiceUnknown
        || error.name().startsWith(u"org.freedesktop.DBus.Error.Spawn."_s);
}

QString escaped(QString text)
{
    return text.replace(u'&', u"&amp;"_s).replace(u'<', u"&lt;"_s).replace(u'>', u"&gt;"_s);
}

} // namespace

class NotificationService::Session final : public QObject
{
    Q_OBJECT

public:
    explicit Session(milliseconds patience)
        : m_patience(patience),
          m_bus(SessionBus::Sharing::Own, patience, [this](QDBusConnection &connection) { subscribe(connection); })
    {
        connect(&m_bus, &SessionBus::opened, this, [this] {
            m_calls = std::make_unique<QObject>();
            sendWaiting();
        });
        connect(&m_bus, &SessionBus::failed, this, [this] { m_entries.clear(); });
        // A service that lives as long as the process must not meet QtDBus while that is being torn down.
        if (qApp)
            connect(qApp, &QObject::destroyed, this, &Session::end);
    }
    ~Session() override { end(); }

    [[nodiscard]] bool isAvailable() const { return m_bus.isAvailable(); }
    void post(const Notification &notification);
    Activated activated;

private Q_SLOTS:
    void reportAction(uint number, const QString &action);
    void forgetClosed(uint number, uint reason);
    void startOver(const QString &name, const QString &oldOwner, const QString &newOwner);

private:
    struct Entry
    {
        QString identifier;
        uint number = 0;  // the service's, 0 when there is none to replace
        quint64 call = 0; // the unanswered call, 0 when there is none
        std::optional<Notification> waiting;
    };
    enum class Capabilities { Unknown, Asked, Known };

    void subscribe(QDBusConnection &connection);
    void disconnectBus();
    void end();

    void sendWaiting();
    void askCapabilities();
    void send(Entry &entry);
    template <typename Answered>
    void call(const QString &method, const QVariantList &arguments, Answered answered);
    void removeUseless();

    const milliseconds m_patience;
    SessionBus m_bus;
    bool m_hasEnded = false;

    std::unique_ptr<QObject> m_calls; // owns the watchers of the connection's unanswered calls
    int m_unanswered = 0;
    quint64 m_lastCall = 0;
    quint64 m_ownerships = 0; // counts the owners the service name has had
    Capabilities m_capabilities = Capabilities::Unknown;
    bool m_bodyIsMarkup = false;
    bool m_hasActions = false;

    std::list<Entry> m_entries; // the one posted to longest ago comes first
};

void NotificationService::Session::post(const Notification &notification)
{
    if (!isAvailable() || m_hasEnded)
        return;
    const auto known = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry &entry) { return entry.identifier == notification.identifier; });
    if (known != m_entries.end())
        m_entries.splice(m_entries.end(), m_entries, known);
    else
        m_entries.push_back({notification.identifier, 0, 0, std::nullopt});
    m_entries.back().waiting = notification;
    if (m_entries.size() > identifierCapacity)
        m_entries.pop_front();

    if (m_bus.isOpening())
        return; // it sends what waits
    if (m_bus.connection() && !m_bus.connection()->isConnected())
        disconnectBus();
    if (m_bus.connection())
        sendWaiting();
    else
        m_bus.open();
}

// On the bus's helper thread, because QtDBus asks for the names' owners and waits for the answers.
void NotificationService::Session::subscribe(QDBusConnection &connection)
{
    connection.connect(serviceName, servicePath, serviceName, u"ActionInvoked"_s, this,
                       SLOT(reportAction(uint, QString)));
    connection.connect(serviceName, servicePath, serviceName, u"NotificationClosed"_s, this,
                       SLOT(forgetClosed(uint, uint)));
    connection.connect(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s,
                       u"NameOwnerChanged"_s, {serviceName}, QString(), this,
                       SLOT(startOver(QString, QString, QString)));
}

void NotificationService::Session::disconnectBus()
{
    m_calls.reset();
    m_unanswered = 0;
    m_bus.close();
    m_capabilities = Capabilities::Unknown;
    for (Entry &entry : m_entries) {
        entry.number = 0;
        entry.call = 0;
    }
    removeUseless();
}

void NotificationService::Session::end()
{
    m_hasEnded = true;
    disconnectBus();
    m_entries.clear();
}

void NotificationService::Session::sendWaiting()
{
    for (Entry &entry : m_entries) {
        if (!entry.waiting || entry.call != 0)
            continue;
        if (m_capabilities == Capabilities::Unknown)
            askCapabilities();
        if (m_capabilities != Capabilities::Known || m_unanswered >= unansweredCapacity)
            return; // an answer comes, and calls this again
        send(entry);
    }
}

// `answered` is called with the finished call, unless the connection has gone by then.
template <typename Answered>
void NotificationService::Session::call(const QString &method, const QVariantList &arguments, Answered answered)
{
    QDBusMessage message = QDBusMessage::createMethodCall(serviceName, servicePath, serviceName, method);
    message.setArguments(arguments);
    const QDBusPendingCall pending = m_bus.connection()->asyncCall(message, static_cast<int>(m_patience.count()));
    auto *watcher = new QDBusPendingCallWatcher(pending, m_calls.get());
    ++m_unanswered;
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, answered] {
        watcher->deleteLater();
        --m_unanswered;
        answered(*watcher);
        removeUseless();
        sendWaiting();
    });
}

void NotificationService::Session::askCapabilities()
{
    m_capabilities = Capabilities::Asked;
    call(u"GetCapabilities"_s, {}, [this, ownership = m_ownerships](const QDBusPendingCall &finished) {
        const QDBusPendingReply<QStringList> reply = finished;
        if (isNoService(reply.error())) {
            m_capabilities = Capabilities::Unknown;
            m_entries.clear();
            return;
        }
        // A service that has lost its name meanwhile says nothing about its successor.
        m_capabilities = ownership == m_ownerships ? Capabilities::Known : Capabilities::Unknown;
        const QStringList capabilities = reply.isValid() ? reply.value() : QStringList();
        m_bodyIsMarkup = capabilities.contains(u"body-markup"_s);
        m_hasActions = capabilities.contains(u"actions"_s);
    });
}

void NotificationService::Session::send(Entry &entry)
{
    const Notification notification = *std::exchange(entry.waiting, std::nullopt);
    entry.call = ++m_lastCall;
    const QVariantMap hints{
        {u"desktop-entry"_s, u"plumtide"_s},
        {u"sound-name"_s, u"message-new-instant"_s},
        {u"urgency"_s, QVariant::fromValue(uchar{1})}, // normal
    };
    // "default" is a click on the notification itself; the text is for services that draw a button for it.
    const QStringList actions = m_hasActions ? QStringList{defaultAction, u"打开看板"_s} : QStringList();
    const int expireTimeout = -1; // as the service likes
    const QString body = m_bodyIsMarkup ? escaped(notification.body) : notification.body;
    const QVariantList arguments{u"Plumtide"_s, entry.number, u"plumtide"_s, notification.title,
                                 body,          actions,      hints,         expireTimeout};
    call(u"Notify"_s, arguments,
         [this, number = entry.call, ownership = m_ownerships](const QDBusPendingCall &finished) {
             const auto isAnswered = [number](const Entry &candidate) { return candidate.call == number; };
             const auto entry = std::find_if(m_entries.begin(), m_entries.end(), isAnswered);
             if (entry == m_entries.end())
                 return;
             const QDBusPendingReply<uint> reply = finished;
             entry->call = 0;
             entry->number = reply.isValid() && ownership == m_ownerships ? reply.value() : 0;
         });
}

void NotificationService::Session::reportAction(uint number, const QString &action)
{
    // The signal goes to everybody, so most numbers are other programs'.
    const auto isMeant = [number](const Entry &entry) { return entry.number == number; };
    const auto entry = std::find_if(m_entries.begin(), m_entries.end(), isMeant);
    if (number == 0 || action != defaultAction || entry == m_entries.end() || !activated)
        return;
    const QString identifier = entry->identifier; // the callback may post
    activated(identifier);
}

void NotificationService::Session::forgetClosed(uint number, uint /*reason*/)
{
    for (Entry &entry : m_entries) {
        if (entry.number == number)
            entry.number = 0;
    }
    removeUseless();
}

void NotificationService::Session::startOver(const QString & /*name*/, const QString &oldOwner,
                                             const QString & /*newOwner*/)
{
    if (oldOwner.isEmpty())
        return; // it answers the calls that had it started
    ++m_ownerships;
    if (m_capabilities == Capabilities::Known)
        m_capabilities = Capabilities::Unknown;
    for (Entry &entry : m_entries)
        entry.number = 0;
    removeUseless();
}

void NotificationService::Session::removeUseless()
{
    m_entries.remove_if([](const Entry &entry) { return entry.number == 0 && entry.call == 0 && !entry.waiting; });
}

NotificationService::NotificationService(milliseconds patience) : m_session(std::make_unique<Session>(patience)) {}

NotificationService::~NotificationService() = default;

bool NotificationService::isAvailable() const
{
    return m_session->isAvailable();
}

void NotificationService::post(const Notification &notification)
{
    m_session->post(notification);
}

void NotificationService::setActivated(Activated activated)
{
    m_session->activated = std::move(activated);
}

#include "NotificationService.moc"
