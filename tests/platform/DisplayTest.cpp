#include "Plumtide/desktop/Display.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLibraryInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// What a display server does with the connections it accepts.
enum class Server { None, Silent, Refuses, Answers };

/// Listens on a unix socket, and behaves towards X clients as told.
class FakeServer
{
public:
    FakeServer(const QByteArray &name, Server behaviour) : m_behaviour(behaviour)
    {
        if (behaviour == Server::None)
            return;
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        std::memcpy(place.sun_path, name.constData(), static_cast<std::size_t>(name.size()));
        const auto length =
            static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<std::size_t>(name.size()));
        EXPECT_EQ(::bind(m_listener, reinterpret_cast<const sockaddr *>(&place), length), 0);
        EXPECT_EQ(::listen(m_listener, 5), 0);
        if (behaviour != Server::Silent)
            m_thread = std::thread([this] { serve(); });
    }
    ~FakeServer()
    {
        ::shutdown(m_listener, SHUT_RDWR); // ends the waiting accept
        if (m_thread.joinable())
            m_thread.join();
        ::close(m_listener);
    }

private:
    void serve() const
    {
        for (int client; (client = ::accept(m_listener, nullptr, nullptr)) >= 0; ::close(client)) {
            char request[64];
            if (::recv(client, request, sizeof request, 0) <= 0)
                continue;
            // The fixed part of the X11 connection setup, and one screen. Byte 0: success; 2: protocol
            // version 11; 6: length of what follows byte 8 in units of four bytes; 28: number of screens.
            QByteArray reply(8 + 32 + 40, '\0');
            reply[2] = 11;
            reply[6] = static_cast<char>((reply.size() - 8) / 4);
            if (m_behaviour == Server::Answers) {
                reply[0] = 1;
                reply[28] = 1;
            }
            EXPECT_EQ(::send(client, reply.constData(), static_cast<std::size_t>(reply.size()), MSG_NOSIGNAL),
                      reply.size());
            ::recv(client, request, sizeof request, 0); // until it hangs up
        }
    }

    Server m_behaviour;
    int m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::thread m_thread;
};

/// Sets variables, and sets them back.
class ScopedVariables
{
public:
    explicit ScopedVariables(const std::map<const char *, QByteArray> &variables)
    {
        for (const auto &[name, value] : variables) {
            m_earlier.emplace(name, qgetenv(name));
            qputenv(name, value);
        }
    }
    ~ScopedVariables()
    {
        for (const auto &[name, value] : m_earlier)
            value.isNull() ? qunsetenv(name) : qputenv(name, value);
    }
    ScopedVariables(const ScopedVariables &) = delete;
    ScopedVariables &operator=(const ScopedVariables &) = delete;

private:
    std::map<const char *, QByteArray> m_earlier;
};

TEST(Display, ChoosesAPlatformThatWillStart)
{
    struct Case
    {
        const char *name;
        QByteArray wish; ///< The value of QT_QPA_PLATFORM.
        Server x;
        Server wayland;
        QByteArray chosen;
    };
    const Case cases[] = {
        {"nothing there", "", Server::None, Server::None, ""},
        {"an X server", "", Server::Answers, Server::None, "xcb"},
        {"an X server that does not know us", "", Server::Refuses, Server::None, ""},
        {"an X server beyond a dead connection", "", Server::Silent, Server::None, ""},
        {"Wayland", "", Server::None, Server::Silent, "wayland"},
        {"Wayland with an X server in it", "", Server::Answers, Server::Silent, "xcb"},
        {"Wayland with a dead X server in it", "", Server::Silent, Server::Silent, "wayland"},
        {"Wayland is wished for and there", "wayland", Server::Answers, Server::Silent, "wayland"},
        {"Wayland is wished for and not there", "wayland", Server::Answers, Server::None, "xcb"},
        {"no display is needed", "offscreen", Server::None, Server::None, "offscreen"},
        {"parameters are kept", "offscreen:x=y", Server::None, Server::None, "offscreen:x=y"},
        {"the first that works", "wayland;nonsense;offscreen", Server::None, Server::None, "offscreen"},
        {"a platform that needs a device", "linuxfb", Server::None, Server::None, ""},
    };
    // Plugins of our own choice: any will do, none is ever started.
    QTemporaryDir plugins;
    const QString offscreen = QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platforms/libqoffscreen.so"_s;
    for (const QString &name : {u"xcb"_s, u"wayland-generic"_s, u"offscreen"_s, u"linuxfb"_s})
        ASSERT_TRUE(QFile::link(offscreen, plugins.filePath(u"libq%1.so"_s.arg(name))));

    const QByteArray number = QByteArray::number(10'000 + ::getpid() % 20'000);
    QTemporaryDir runtimeDir;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QByteArray waylandSocket = QFile::encodeName(runtimeDir.filePath(u"wayland-7"_s));
        const FakeServer x(QByteArray("\0", 1) + "/tmp/.X11-unix/X" + number, c.x);
        const FakeServer wayland(waylandSocket, c.wayland);
        const ScopedVariables variables({
            {"QT_QPA_PLATFORM", c.wish},
            {"QT_QPA_PLATFORM_PLUGIN_PATH", QFile::encodeName(plugins.path())},
            {"DISPLAY", ":" + number},
            {"WAYLAND_DISPLAY", "wayland-7"},
            {"XDG_RUNTIME_DIR", QFile::encodeName(runtimeDir.path())},
        });
        QElapsedTimer time;
        time.start();
        EXPECT_EQ(chooseDisplayPlatform(200ms), !c.chosen.isEmpty());
        EXPECT_LT(time.elapsed(), 2'000);
        EXPECT_EQ(qgetenv("QT_QPA_PLATFORM"), c.chosen.isEmpty() ? c.wish : c.chosen);
        QFile::remove(QFile::decodeName(waylandSocket));
    }
}

} // namespace
