#include "Plumtide/PlumtideApp.h"
#include "Plumtide/Services.h"
#include "Plumtide/desktop/Autostart.h"
#include "Plumtide/desktop/Display.h"
#include "Plumtide/desktop/FloatingWindow.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/desktop/Log.h"
#include "Plumtide/desktop/SessionBus.h"

#include <QApplication>
#include <QFileInfo>
#include <QSessionManager>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <memory>
#include <span>
#include <string_view>

#include <malloc.h>

namespace {

// The desktop's startup token, with which a window may take the focus. Child processes must not inherit it; Qt itself
// unsets DESKTOP_STARTUP_ID.
QByteArray takeStartupToken()
{
    QByteArray token = qgetenv(FloatingWindow::tokenVariable);
    if (token.isEmpty())
        token = qgetenv("DESKTOP_STARTUP_ID");
    qunsetenv(FloatingWindow::tokenVariable);
    return token;
}

std::unique_ptr<QCoreApplication> makeApplication(char **argv, bool hasWindows)
{
    // Qt gets none of the arguments: it would end the process for a "-platform" that it cannot start.
    static int argc = 1;
    if (!hasWindows)
        return std::make_unique<QCoreApplication>(argc, argv);
    const UsableDisplay display = findDisplay(); // kept until Qt has connected
    if (display.platform.isEmpty()) {
        std::fputs("Plumtide: 没有可用的图形界面，在后台继续运行，不显示窗口。\n", stderr);
        return std::make_unique<QCoreApplication>(argc, argv);
    }
    qputenv("QT_QPA_PLATFORM", display.platform);
    ignoreDesktopTheme();
    QGuiApplication::setDesktopFileName(QCoreApplication::applicationName());
    QApplication::setStyle(QStringLiteral("Fusion"));
    auto application = std::make_unique<QApplication>(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    // A session manager that starts what ran when the session ended would start it in addition to the user's own
    // autostart entry (KDE 5.27).
    QObject::connect(application.get(), &QGuiApplication::saveStateRequest, application.get(),
                     [](QSessionManager &session) { session.setRestartHint(QSessionManager::RestartNever); });
    qCDebug(desktopLog) << "display platform:" << display.platform;
    return application;
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN); // the reader of standard output may be gone
    std::signal(SIGXFSZ, SIG_IGN); // a limit on the size of files (`ulimit -f`) is handled as a full disk is
    // A line of the log may be megabytes long. A block of this size or more is returned to the system when it is freed;
    // with the default, which grows with the largest block so far, the memory would be kept.
    ::mallopt(M_MMAP_THRESHOLD, 1 << 20);
    const std::span<char *> arguments(argv, static_cast<size_t>(argc));
    const auto isGiven = [&](std::string_view flag) { return std::ranges::find(arguments, flag) != arguments.end(); };
    // Of several arguments, the first in this list counts.
    constexpr std::array<std::string_view, 5> actions{PlumtideApp::installFlag, PlumtideApp::helpFlag,
                                                      PlumtideApp::versionFlag, PlumtideApp::removeFlag,
                                                      PlumtideApp::resetFlag};
    const auto *const found = std::ranges::find_if(actions, isGiven);
    const std::string_view action = found != actions.end() ? *found : std::string_view();
    if (action == PlumtideApp::helpFlag)
        return PlumtideApp::help();
    if (action == PlumtideApp::versionFlag)
        return PlumtideApp::version();
    const QByteArray named = qgetenv("HOME");
    if (QFile::encodeName(QFile::decodeName(named)) != named) {
        // Qt would change the name, and so create another folder.
        std::fputs("Plumtide: 主目录的路径不是 UTF-8 文本，无法使用。\n", stderr);
        return 0;
    }
    const QString home = Environment::realHome();
    if (home.isEmpty()) {
        std::fputs("Plumtide: 找不到主目录，无法使用。\n", stderr);
        return 0;
    }
    QCoreApplication::setApplicationName(QStringLiteral("plumtide"));
    PlumtideApp::removeTemporaries(home);
    const QByteArray token = takeStartupToken();
    preventBusAutolaunch();
    if (action.empty() || action == PlumtideApp::resetFlag) // the others need no bus
        skipUnresponsiveBus();
    const std::unique_ptr<QCoreApplication> application = makeApplication(argv, action.empty());
    if (action == PlumtideApp::installFlag)
        return PlumtideApp::installHooks();
    if (action == PlumtideApp::removeFlag)
        return PlumtideApp::removeHooks(home);
    Instance instance(home);
    if (action == PlumtideApp::resetFlag)
        return PlumtideApp::resetMiniBoard(home, instance);
    const bool hasWindows = qobject_cast<QApplication *>(application.get()) != nullptr;
    const bool isBySession =
        isGiven(Autostart::flag) || isGiven("-session") || qEnvironmentVariableIsSet("DESKTOP_AUTOSTART_ID");
    if (!instance.claim({.hasWindows = hasWindows, .opensPanel = !isBySession, .token = token}))
        return 0;
    if (hasWindows)
        FloatingWindow::endStartup(token);
    std::optional<HomeLock> lock = HomeLock::acquire(home, HomeLock::patience);
    if (!lock) {
        std::fputs("Plumtide: 已经在运行了。\n", stderr);
        return 0;
    }
    // When the user starts it for the first time, the panel opens and offers to connect the agents.
    const bool isFirstRun = !QFileInfo::exists(Defaults::standardPath(home));
    Services services{.lock = *std::move(lock)};
    return PlumtideApp::follow(services, instance, isFirstRun && !isBySession);
}
