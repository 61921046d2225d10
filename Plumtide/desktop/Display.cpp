#include "Plumtide/desktop/Display.h"

#include "Plumtide/system/Descriptor.h"

#include <QCoreApplication>
#include <QDir>
#include <QPluginLoader>

#include <sys/socket.h>
#include <sys/un.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

bool waylandAnswers()
{
    // An absolute name stands for itself.
    const QString path =
        QDir(qEnvironmentVariable("XDG_RUNTIME_DIR")).filePath(qEnvironmentVariable("WAYLAND_DISPLAY"));
    const QByteArray name = path.startsWith(u'/') ? QFile::encodeName(path) : QByteArray();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const Descriptor descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (name.isEmpty() || static_cast<std::size_t>(name.size()) >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, name.constData(), static_cast<std::size_t>(name.size()));
    return ::connect(descriptor.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// Loads the plugin, since Qt ends the process also over one whose own libraries are missing.
bool hasPlugin(const QString &filePattern)
{
    QStringList folders{qEnvironmentVariable("QT_QPA_PLATFORM_PLUGIN_PATH")};
    for (const QString &root : QCoreApplication::libraryPaths())
        folders.append(root + "/platforms"_L1);
    folders.removeAll(QString());
    return std::ranges::any_of(folders, [&](const QString &folder) {
        return std::ranges::any_of(QDir(folder).entryInfoList({filePattern}, QDir::Files),
                                   [](const QFileInfo &plugin) { return QPluginLoader(plugin.filePath()).load(); });
    });
}

// Runs in a thread, since XCB has no timeout, and looking up the host, connecting and the server's answer can each take
// minutes. A thread that is late is left alone; it owns all that it uses.
std::shared_ptr<xcb_connection_t> connectToServer()
{
    using Server = std::shared_ptr<xcb_connection_t>;
    std::promise<Server> promise;
    std::future<Server> answer = promise.get_future();
    try {
        std::thread([display = qgetenv("DISPLAY"), promise = std::move(promise)]() mutable {
            promise.set_value(Server(xcb_connect(display.constData(), nullptr), xcb_disconnect));
        }).detach();
    } catch (const std::system_error &) { // no more threads: no windows either
        return {};
    }
    Server server = answer.wait_for(2s) == std::future_status::ready ? answer.get() : nullptr;
    return server && xcb_connection_has_error(server.get()) == 0 ? server : nullptr;
}

} // namespace

UsableDisplay findDisplay()
{
    QList<QByteArray> candidates = qgetenv("QT_QPA_PLATFORM").split(';');
    for (const char *const usual : {"xcb", "wayland"}) {
        if (!candidates.contains(usual)) // so that a dead display is waited for once
            candidates.append(usual);
    }
    for (const QByteArray &platform : std::as_const(candidates)) {
        const QByteArray name = platform.split(':').first(); // parameters may follow
        if (name == "xcb" && !qEnvironmentVariableIsEmpty("DISPLAY")) {
            if (const auto server = connectToServer(); server && hasPlugin(u"libqxcb.so"_s))
                return {platform, server};
        } else if (name.startsWith("wayland") && waylandAnswers() && hasPlugin(u"libqwayland*.so"_s)) {
            return {platform};
        } else if ((name == "offscreen" || name == "minimal" || name == "vnc") // others may need a device of their own
                   && hasPlugin(u"libq%1.so"_s.arg(QLatin1StringView(name)))) {
            return {platform};
        }
    }
    return {};
}

void ignoreDesktopTheme()
{
    for (const char *name : {"XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION", "GNOME_DESKTOP_SESSION_ID",
                             "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE"})
        qunsetenv(name);
}
