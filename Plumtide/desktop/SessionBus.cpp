#include "Plumtide/desktop/SessionBus.h"

#include <QByteArray>
#include <QList>
#include <QScopeGuard>

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
#include <system_error>
#include <utility>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

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
        socket.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<std::size_t>(name.size()));
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
        struct stat status = {};
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
    Patience(milliseconds limit, int stop) : m_deadline(std::chrono::steady_clock::now() + limit), m_stop(stop) {}

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
        return ::poll(watched, 2, static_cast<int>(time.count())) > 0 && watched[0].revents && !watched[1].revents;
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

} // namespace

struct SessionBus::Sockets
{
    QList<BusSocket> all = sessionBusSockets();
};

SessionBus::SessionBus(Sharing sharing, milliseconds patience, Prepare prepare)
    : m_sharing(sharing),
      m_patience(patience),
      m_prepare(std::move(prepare)),
      m_sockets(std::make_unique<const Sockets>())
{
}

SessionBus::~SessionBus()
{
    close();
}

void SessionBus::disableMute(milliseconds patience)
{
    const bool isNamed = !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS");
    const QList<BusSocket> sockets = sessionBusSockets();
    if (isNamed && sockets.isEmpty()) // one that we do not understand, or switched off
        return;
    const auto start = std::chrono::steady_clock::now();
    const bool isUsable = !sockets.isEmpty() && isGreetedBy(sockets, Patience(patience, -1));
    // One that refuses at once keeps nobody waiting, and may come later.
    const bool isMute = !isUsable && std::chrono::steady_clock::now() - start >= patience;
    if (isMute || sockets.isEmpty())
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
}

bool SessionBus::isAvailable() const
{
    return !m_sockets->all.isEmpty();
}

const QDBusConnection *SessionBus::connection() const
{
    return m_connection && !isOpening() ? &*m_connection : nullptr;
}

void SessionBus::open()
{
    Q_ASSERT(!isOpening() && !m_connection);
    ++m_attempt;
    m_stopHelper = isAvailable() ? ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : -1;
    if (m_stopHelper >= 0) {
        try {
            m_helper = std::thread([this] { openOnHelper(); });
            return;
        } catch (const std::system_error &) {
            ::close(m_stopHelper);
        }
    }
    // Out of descriptors or threads: as good as no bus.
    QMetaObject::invokeMethod(this, &SessionBus::failed, Qt::QueuedConnection);
}

void SessionBus::openOnHelper()
{
    if (isGreetedBy(m_sockets->all, Patience(m_patience, m_stopHelper))) {
        static std::atomic<int> count = 0;
        const QString name = u"plumtide-%1"_s.arg(++count);
        // By type, not by address: when the bus refuses a connection by address, Qt 6.4 drops it without
        // closing it, for which libdbus ends the process.
        QDBusConnection connection = m_sharing == Sharing::Default
            ? QDBusConnection::sessionBus()
            : QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
        if (connection.isConnected()) {
            m_prepare(connection);
            m_connection = connection;
        } else if (m_sharing == Sharing::Own) {
            QDBusConnection::disconnectFromBus(name);
        }
    }
    QMetaObject::invokeMethod(
        this,
        [this, attempt = m_attempt] {
            if (attempt == m_attempt && isOpening())
                takeResult();
        },
        Qt::QueuedConnection);
}

void SessionBus::takeResult()
{
    joinHelper();
    if (m_connection)
        Q_EMIT opened();
    else
        Q_EMIT failed();
}

void SessionBus::joinHelper()
{
    if (!m_helper.joinable())
        return;
    ::eventfd_write(m_stopHelper, 1);
    m_helper.join();
    ::close(m_stopHelper);
}

void SessionBus::close()
{
    joinHelper();
    if (!m_connection)
        return;
    const QString name = m_connection->name();
    m_connection.reset();
    if (m_sharing == Sharing::Own)
        QDBusConnection::disconnectFromBus(name);
}
