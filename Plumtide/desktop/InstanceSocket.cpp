#include "Plumtide/desktop/InstanceSocket.h"

#include "Plumtide/system/Files.h"

#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

constexpr char handedOn = '1';

Descriptor openDirectory(const QString &path)
{
    return Descriptor(::open(QFile::encodeName(QFileInfo(path).path()).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

Descriptor makeSocket()
{
    return Descriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// A socket address holds 107 bytes of path; a home directory may be deeper than that. So it goes by the directory's
// descriptor.
std::optional<sockaddr_un> addressOf(const Descriptor &directory, const QByteArray &name)
{
    const QByteArray path = "/proc/self/fd/" + QByteArray::number(directory.get()) + '/' + name;
    sockaddr_un address{};
    if (!directory.isOpen() || name.isEmpty() || static_cast<std::size_t>(path.size()) >= sizeof address.sun_path)
        return std::nullopt;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
    return address;
}

QByteArray nameOf(const QString &path)
{
    return QFile::encodeName(QFileInfo(path).fileName());
}

bool isOurUser(int socket)
{
    ucred peer{};
    socklen_t length = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 && peer.uid == ::geteuid();
}

} // namespace

struct InstanceSocket::Client
{
    Descriptor socket;
    std::unique_ptr<QSocketNotifier> notifier;

    ~Client()
    {
        if (notifier) {
            notifier->setEnabled(false);
            notifier.release()->deleteLater(); // it may be the one that is being told
        }
    }
};

InstanceSocket::InstanceSocket(const QString &path, QObject *parent) : QObject(parent)
{
    if (!listen(path))
        m_listener.reset();
}

InstanceSocket::~InstanceSocket()
{
    struct stat status = {};
    if (isListening() && ::fstatat(m_directory.get(), m_name.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0
        && status.st_ino == m_inode)
        ::unlinkat(m_directory.get(), m_name.constData(), 0);
}

bool InstanceSocket::listen(const QString &path)
{
    if (!Files::makeDirectory(QFileInfo(path).path()))
        return false;
    m_directory = openDirectory(path);
    m_name = nameOf(path);
    m_listener = makeSocket();
    const std::optional<sockaddr_un> address = addressOf(m_directory, m_name);
    struct stat status = {};
    if (!m_listener.isOpen() || !address)
        return false;
    if (::fstatat(m_directory.get(), m_name.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISSOCK(status.st_mode))
        ::unlinkat(m_directory.get(), m_name.constData(), 0);
    // Linux gives the file the mode of the socket, so it is never open to others, not for a moment.
    if (::fchmod(m_listener.get(), 0600) != 0
        || ::bind(m_listener.get(), reinterpret_cast<const sockaddr *>(&*address), sizeof *address) != 0
        || ::fstatat(m_directory.get(), m_name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0
        || ::listen(m_listener.get(), static_cast<int>(clientCapacity)) != 0)
        return false;
    m_inode = status.st_ino;
    auto *notifier = new QSocketNotifier(m_listener.get(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &InstanceSocket::accept);
    return true;
}

void InstanceSocket::accept()
{
    Descriptor socket(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket.isOpen()) {
        if ((errno == EMFILE || errno == ENFILE) && !m_clients.empty())
            m_clients.pop_front(); // makes room, or the event loop would spin
        return;
    }
    if (!isOurUser(socket.get()))
        return;
    if (m_clients.size() >= clientCapacity)
        m_clients.pop_front();
    Client &client = m_clients.emplace_back();
    client.socket = std::move(socket);
    client.notifier = std::make_unique<QSocketNotifier>(client.socket.get(), QSocketNotifier::Read);
    connect(client.notifier.get(), &QSocketNotifier::activated, this, [this, &client] { read(client); });
}

void InstanceSocket::read(Client &client)
{
    char bytes[longestWord + 1];
    const ssize_t size = ::recv(client.socket.get(), bytes, sizeof bytes, 0);
    if (size < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    const bool isWord = size >= 1 && size <= longestWord;
    if (isWord)
        static_cast<void>(::send(client.socket.get(), &handedOn, 1, MSG_NOSIGNAL));
    m_clients.remove_if([&client](const Client &candidate) { return &candidate == &client; });
    if (isWord)
        Q_EMIT requested(QByteArray(bytes, size)); // may end the program, and this object with it
}

bool InstanceSocket::ask(const QString &path, const QByteArray &word, milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    const Descriptor directory = openDirectory(path);
    const Descriptor socket = makeSocket();
    const std::optional<sockaddr_un> address = addressOf(directory, nameOf(path));
    if (!socket.isOpen() || !address || word.isEmpty())
        return false;
    // EAGAIN: its queue is full, the running one has not looked at it for a while.
    while (::connect(socket.get(), reinterpret_cast<const sockaddr *>(&*address), sizeof *address) != 0) {
        if (errno != EAGAIN || std::chrono::steady_clock::now() >= deadline)
            return false;
        ::poll(nullptr, 0, 20);
    }
    if (::send(socket.get(), word.constData(), static_cast<std::size_t>(word.size()), MSG_NOSIGNAL) != word.size())
        return false;
    const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd answer{socket.get(), POLLIN, 0};
    char byte = 0;
    return ::poll(&answer, 1, static_cast<int>(std::max(left, milliseconds{0}).count())) > 0
        && ::recv(socket.get(), &byte, 1, 0) == 1 && byte == handedOn;
}
