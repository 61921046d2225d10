#include "Plumtide/desktop/Display.h"

#include <QDir>
#include <QLibraryInfo>
#include <QList>
#include <QPluginLoader>
#include <QScopeGuard>
#include <QStringList>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstring>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

// On a thread of its own: looking the host up, connecting and the server's greeting can each take minutes,
// and none of them can be told to hurry. A thread that is late is left behind; it owns all it uses.
bool xServerAnswers(milliseconds patience)
{
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty())
        return false;
    std::promise<bool> promise;
    std::future<bool> answer = promise.get_future();
    try {
        std::thread([display, promise = std::move(promise)]() mutable {
            xcb_connection_t *connection = xcb_connect(display.constData(), nullptr);
            promise.set_value(xcb_connection_has_error(connection) == 0);
            xcb_disconnect(connection);
        }).detach();
    } catch (const std::system_error &) { // no more threads: no windows either
        return false;
    }
    return answer.wait_for(patience) == std::future_status::ready && answer.get();
}

bool waylandAnswers()
{
    const QByteArray display = qgetenv("WAYLAND_DISPLAY");
    const QByteArray runtimeDir = qgetenv("XDG_RUNTIME_DIR");
    if (display.isEmpty() || (!display.startsWith('/') && runtimeDir.isEmpty()))
        return false;
    const QByteArray path = display.startsWith('/') ? display : runtimeDir + '/' + display;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<std::size_t>(path.size()) >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0)
        return false;
    const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
    return ::connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// Loads it, since a plugin whose own libraries are missing ends the process as surely as a missing one. Qt
// finds it loaded afterwards.
bool hasPlugin(const QString &filePattern)
{
    QStringList directories{qEnvironmentVariable("QT_QPA_PLATFORM_PLUGIN_PATH")};
    QStringList roots = qEnvironmentVariable("QT_PLUGIN_PATH").split(QDir::listSeparator());
    roots.append(QLibraryInfo::path(QLibraryInfo::PluginsPath));
    for (const QString &root : roots)
        directories.append(root.isEmpty() ? QString() : root + "/platforms"_L1);
    for (const QString &directory : directories) {
        if (directory.isEmpty())
            continue;
        const QDir plugins(directory);
        const QStringList names = plugins.entryList({filePattern}, QDir::Files);
        if (std::any_of(names.begin(), names.end(),
                        [&](const QString &name) { return QPluginLoader(plugins.filePath(name)).load(); }))
            return true;
    }
    return false;
}

/// `entry` is a platform's name, possibly with parameters after a colon.
bool isUsable(const QByteArray &entry, milliseconds patience)
{
    const QByteArray name = entry.split(':').first();
    if (name == "xcb")
        return xServerAnswers(patience) && hasPlugin(u"libqxcb.so"_s);
    if (name == "wayland" || name.startsWith("wayland-"))
        return waylandAnswers() && hasPlugin(u"libqwayland-*.so"_s);
    // Any other may need a device of its own.
    if (name == "offscreen" || name == "minimal" || name == "vnc")
        return hasPlugin(u"libq%1.so"_s.arg(QLatin1StringView(name)));
    return false;
}

} // namespace

QByteArray usableDisplayPlatform(milliseconds patience)
{
    QList<QByteArray> candidates = qgetenv("QT_QPA_PLATFORM").split(';');
    candidates << "xcb"
               << "wayland";
    QList<QByteArray> tried;
    for (const QByteArray &candidate : std::as_const(candidates)) {
        if (tried.contains(candidate)) // a dead display is waited for once
            continue;
        if (isUsable(candidate, patience))
            return candidate;
        tried.append(candidate);
    }
    return {};
}

bool chooseDisplayPlatform(milliseconds patience)
{
    const QByteArray platform = usableDisplayPlatform(patience);
    return !platform.isEmpty() && qputenv("QT_QPA_PLATFORM", platform);
}

void ignoreDesktopTheme()
{
    for (const char *name : {"XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION", "GNOME_DESKTOP_SESSION_ID",
                             "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE"})
        qunsetenv(name);
}
