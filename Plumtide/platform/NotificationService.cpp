#include "Plumtide/platform/NotificationService.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QList>
#include <QObject>
#include <QScopeGuard>
#include <QStringList>
#include <QVariantMap>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <list>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

const QString serviceName = u"org.freedesktop.Notifications"_s;
const QString servicePath = u"/org/freedesktop/Notifications"_s;

struct BusSocket
{
    sockaddr_un address{};
    socklen_t length = 0;
};

/// The socket of one entry of a bus address.
std::optional<BusSocket> busSocket(const QByteArray &entry)
{
    static constexpr QByteArrayView transport = "unix:";
    if (!entry.startsWith(transport))
        return std::nullopt;
    const QList<QByteArray> pairs = entry.sliced(transport.size()).split(',');
    for (const QByteArray &pair : pairs) {
        const qsizetype equals = pair.indexOf('=');
        const QByteArray key = pair.first(std::max<qsizetype>(equals, 0));
        if (key != "path" && key != "abstract")
            continue;
        QByteArray name = QByteArray::fromPercentEncoding(pair.sliced(equals + 1));
        key == "path" ? name.append('\0') : name.prepend('\0');
        BusSocket socket;
        if (name.size() < 2 || static_cast<std::size_t>(name.size()) > sizeof socket.address.sun_path)
            return std::nullopt;
        socket.address.sun_family = AF_UNIX;
        std::memcpy(socket.address.sun_path, name.constData(), static_cast<std::size_t>(name.size()));
        socket.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path)
                                               + static_cast<std::size_t>(name.size()));
        return socket;
    }
    return std::nullopt;
}

/// The sockets of the session bus in the order in which libdbus tries them; empty when there is no bus, or
/// when libdbus might do anything but connect to a unix socket: "autolaunch:" would start a bus, and a
/// connection over TCP could take minutes.
QList<BusSocket> sessionBusSockets()
{
    QList<QByteArray> entries = qgetenv("DBUS_SESSION_BUS_ADDRESS").split(';');
    entries.removeAll(QByteArray());
    if (entries.isEmpty()) {
        const QByteArray directory = qgetenv("XDG_RUNTIME_DIR");
        const QByteArray path = directory + "/bus";
        struct stat status{};
        if (directory.isEmpty() || ::stat(path.constData(), &status) != 0 || !S_ISSOCK(status.st_mode)
            || status.st_uid != ::getuid()) // libdbus does not take another user's
            return {};
        entries.append("unix:path=" + path.toPercentEncoding("/"));
    }
    QList<BusSocket> sockets;
    for (const QByteArray &entry : std::as_const(entries)) {
        const std::optional<BusSocket> socket = busSocket(entry);
        if (!socket)
            return {};
        sockets.append(*socket);
    }
    return sockets;
}

/// Waiting with a deadline that another thread can end early.
class Patience
{
public:
    /// `stop` is a descriptor that becomes readable when the waiting is to end.
    Patience(milliseconds limit, int stop)
        : m_deadline(std::chrono::steady_clock::now() + limit), m_stop(stop)
    {
    }

    /// False at the deadline or when stopped.
    [[nodiscard]] bool untilReadable(int descriptor) const { return wait(descriptor, left()); }
    [[nodiscard]] bool pause(milliseconds time) const
    {
        static_cast<void>(wait(-1, std::min(time, left())));
        return left().count() > 0 && !wait(m_stop, milliseconds{0});
    }

private:
    [[nodiscard]] milliseconds left() const
    {
        const auto left = m_deadline - std::chrono::steady_clock::now();
        return std::max(milliseconds{0}, std::chrono::ceil<milliseconds>(left));
    }
    [[nodiscard]] bool wait(int descriptor, milliseconds time) const // true when the descriptor is readable
    {
        pollfd watched[] = {{descriptor, POLLIN, 0}, {descriptor == m_stop ? -1 : m_stop, POLLIN, 0}};
        return ::poll(watched, 2, static_cast<int>(time.count())) > 0 && watched[0].revents
            && !watched[1].revents;
    }

    std::chrono::steady_clock::time_point m_deadline;
    int m_stop;
};

// QtDBus connects while it holds a lock of the whole process, and libdbus waits 25 s for a peer that says
// nothing: meanwhile every other use of QtDBus would stand still, and so would the program's end. So the bus
// must have answered before QtDBus hears of it: it replies to the bare "AUTH" with the mechanisms it knows.
// libdbus takes the first socket that can be connected, hence only that one is asked.
bool isGreetedBy(const QList<BusSocket> &sockets, const Patience &patience)
{
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0)
        return false;
    const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
    const auto connects = [&](const BusSocket &bus) {
        while (::connect(descriptor, reinterpret_cast<const sockaddr *>(&bus.address), bus.length) != 0) {
            // EAGAIN: as many connections wait to be accepted as the bus allows.
            if (errno != EAGAIN || !patience.pause(milliseconds{50}))
                return false;
        }
        return true;
    };
    static constexpr char greeting[] = "\0AUTH\r\n";
    char reply = 0;
    return std::any_of(sockets.begin(), sockets.end(), connects)
        && ::send(descriptor, greeting, sizeof greeting - 1, MSG_NOSIGNAL) == sizeof greeting - 1
        && patience.untilReadable(descriptor) && ::recv(descriptor, &reply, 1, 0) == 1;
}

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
    explicit Session(milliseconds patience) : m_patience(patience)
    {
        // A service that lives as long as the process must not meet QtDBus while that is being torn down.
        if (qApp)
            connect(qApp, &QObject::destroyed, this, &Session::end);
    }
    ~Session() override { end(); }

    [[nodiscard]] bool isAvailable() const { return !m_sockets.isEmpty(); }
    void post(const Notification &notification);

private Q_SLOTS:
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

    void beginConnecting();
    void connectOnHelper();
    void helperEnded();
    void joinHelper();
    void disconnectBus();
    void end();

    void sendWaiting();
    void askCapabilities();
    void send(Entry &entry);
    template <typename Answered>
    void call(const QString &method, const QVariantList &arguments, Answered answered);
    void removeUseless();

    const QList<BusSocket> m_sockets = sessionBusSockets();
    const milliseconds m_patience;

    std::thread m_helper;  // connects; joinable from its start until its result is taken
    int m_stopHelper = -1; // eventfd, open while m_helper is joinable
    bool m_hasEnded = false;

    std::optional<QDBusConnection> m_connection; // the helper's while it is joinable
    std::unique_ptr<QObject> m_calls; // owns the watchers of the connection's unanswered calls
    int m_unanswered = 0;
    quint64 m_lastCall = 0;
    quint64 m_ownerships = 0; // counts the owners the service name has had
    Capabilities m_capabilities = Capabilities::Unknown;
    bool m_bodyIsMarkup = false;

    std::list<Entry> m_entries; // the one posted to longest ago comes first
};

void NotificationService::Session::post(const Notification &notification)
{
    if (!isAvailable() || m_hasEnded)
        return;
    const auto known = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry &entry) {
        return entry.identifier == notification.identifier;
    });
    if (known != m_entries.end())
        m_entries.splice(m_entries.end(), m_entries, known);
    else
        m_entries.push_back({notification.identifier, 0, 0, std::nullopt});
    m_entries.back().waiting = notification;
    if (m_entries.size() > identifierCapacity)
        m_entries.pop_front();

    if (m_helper.joinable())
        return; // it sends what waits
    if (m_connection && !m_connection->isConnected())
        disconnectBus();
    if (m_connection)
        sendWaiting();
    else
        beginConnecting();
}

void NotificationService::Session::beginConnecting()
{
    m_stopHelper = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_stopHelper >= 0) {
        try {
            m_helper = std::thread([this] { connectOnHelper(); });
            return;
        } catch (const std::system_error &) {
            ::close(m_stopHelper);
        }
    }
    m_entries.clear(); // out of descriptors or threads: as good as no bus
}

void NotificationService::Session::connectOnHelper()
{
    if (isGreetedBy(m_sockets, Patience(m_patience, m_stopHelper))) {
        static std::atomic<int> count = 0;
        const QString name = u"plumtide-notifications-%1"_s.arg(++count);
        // By type, not by address: when the bus refuses a connection by address, Qt 6.4 drops it without
        // closing it, for which libdbus ends the process.
        QDBusConnection connection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
        if (connection.isConnected()) {
            // Also here, because QtDBus asks the bus for the names' owners and waits for the answers.
            connection.connect(serviceName, servicePath, serviceName, u"NotificationClosed"_s, this,
                               SLOT(forgetClosed(uint, uint)));
            connection.connect(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                               u"org.freedesktop.DBus"_s, u"NameOwnerChanged"_s, {serviceName}, QString(),
                               this, SLOT(startOver(QString, QString, QString)));
            m_connection = connection;
        } else {
            QDBusConnection::disconnectFromBus(name);
        }
    }
    QMetaObject::invokeMethod(this, &Session::helperEnded, Qt::QueuedConnection);
}

void NotificationService::Session::helperEnded()
{
    if (m_hasEnded)
        return;
    joinHelper();
    if (!m_connection) {
        m_entries.clear();
        return;
    }
    m_calls = std::make_unique<QObject>();
    sendWaiting();
}

void NotificationService::Session::joinHelper()
{
    if (!m_helper.joinable())
        return;
    ::eventfd_write(m_stopHelper, 1);
    m_helper.join();
    ::close(m_stopHelper);
}

void NotificationService::Session::disconnectBus()
{
    if (!m_connection)
        return;
    m_calls.reset();
    m_unanswered = 0;
    const QString name = m_connection->name();
    m_connection.reset();
    QDBusConnection::disconnectFromBus(name);
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
    joinHelper();
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
void NotificationService::Session::call(const QString &method, const QVariantList &arguments,
                                        Answered answered)
{
    QDBusMessage message = QDBusMessage::createMethodCall(serviceName, servicePath, serviceName, method);
    message.setArguments(arguments);
    const QDBusPendingCall pending = m_connection->asyncCall(message, static_cast<int>(m_patience.count()));
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
        m_bodyIsMarkup = reply.isValid() && reply.value().contains(u"body-markup"_s);
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
    const QStringList actions;
    const int expireTimeout = -1; // as the service likes
    const QString body = m_bodyIsMarkup ? escaped(notification.body) : notification.body;
    const QVariantList arguments{u"Plumtide"_s, entry.number, u"plumtide"_s, notification.title, body,
                                 actions,       hints,        expireTimeout};
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
    m_entries.remove_if(
        [](const Entry &entry) { return entry.number == 0 && entry.call == 0 && !entry.waiting; });
}

NotificationService::NotificationService(milliseconds patience)
    : m_session(std::make_unique<Session>(patience))
{
}

NotificationService::~NotificationService() = default;

bool NotificationService::isAvailable() const
{
    return m_session->isAvailable();
}

void NotificationService::post(const Notification &notification)
{
    m_session->post(notification);
}

#include "NotificationService.moc"
