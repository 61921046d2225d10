#include "Plumtide/PlumtideApp.h"
#include "Plumtide/desktop/Autostart.h"
#include "Plumtide/desktop/Display.h"
#include "Plumtide/desktop/FloatingWindow.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/desktop/Log.h"
#include "Plumtide/desktop/SessionBus.h"
#include "Plumtide/system/Environment.h"

#include <QApplication>
#include <QFile>
#include <QSessionManager>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <span>
#include <string_view>

#include <malloc.h>

namespace {

// What the desktop has given this start, so that its window may take the focus. Qt takes it out of the environment.
QByteArray takeStartupToken()
{
    QByteArray token = qgetenv(FloatingWindow::tokenVariable);
    if (token.isEmpty())
        token = qgetenv("DESKTOP_STARTUP_ID");
    qunsetenv(FloatingWindow::tokenVariable);
    return token;
}

std::unique_ptr<QCoreApplication> makeApplication(char **argv, bool isWithoutWindows)
{
    // Qt sees none of the arguments: it would end the process over a "-platform" that it cannot start.
    static int argc = 1;
    if (isWithoutWindows)
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
    // A session that starts what ran at its end would start it beside the user's own entry (KDE 5.27).
    QObject::connect(application.get(), &QGuiApplication::saveStateRequest, application.get(),
                     [](QSessionManager &session) { session.setRestartHint(QSessionManager::RestartNever); });
    qCDebug(desktopLog) << "display platform:" << display.platform;
    return application;
}

} // namespace

int main(int argc, char **argv)
{
    // Whoever reads our output may have gone; that must not end us in the middle of something.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a limit on the size of files (`ulimit -f`) is met as a full disk is
    // A line of the log may be megabytes long. A block of this many bytes goes back to the system once it is freed;
    // otherwise the limit would rise with the first that is, and the memory would stay.
    ::mallopt(M_MMAP_THRESHOLD, 1 << 20);
    const std::span<char *> arguments(argv, static_cast<size_t>(argc));
    const auto isAsked = [&](std::string_view flag) { return std::ranges::find(arguments, flag) != arguments.end(); };
    const bool isInstalling = isAsked(PlumtideApp::installFlag); // which counts more than any other
    if (!isInstalling && isAsked(PlumtideApp::helpFlag))
        return PlumtideApp::help();
    if (!isInstalling && isAsked(PlumtideApp::versionFlag))
        return PlumtideApp::version();
    const QByteArray home = qgetenv("HOME");
    if (QFile::encodeName(QFile::decodeName(home)) != home) {
        // Qt could not name it, and would make a folder of another name beside it.
        std::fputs("Plumtide: 主目录的路径不是 UTF-8 文本，无法使用。\n", stderr);
        return 0;
    }
    if (Environment::realHome().isEmpty()) {
        std::fputs("Plumtide: 找不到主目录，无法使用。\n", stderr);
        return 0;
    }
    QCoreApplication::setApplicationName(QStringLiteral("plumtide"));
    const bool isRemoving = !isInstalling && isAsked(PlumtideApp::removeFlag);
    const bool isResetting = !isInstalling && !isRemoving && isAsked(PlumtideApp::resetFlag);
    PlumtideApp::removeTemporaries();
    const QByteArray token = takeStartupToken();
    preventBusAutolaunch();
    if (!isInstalling && !isRemoving) // which need no bus
        skipUnresponsiveBus();
    const std::unique_ptr<QCoreApplication> application =
        makeApplication(argv, isInstalling || isRemoving || isResetting);
    if (isInstalling)
        return PlumtideApp::installHooks();
    if (isRemoving)
        return PlumtideApp::removeHooks();
    Instance instance(Environment::realHome());
    if (isResetting)
        return PlumtideApp::resetMiniBoard(instance);
    const bool hasWindows = qobject_cast<QApplication *>(application.get()) != nullptr;
    const bool isBySession =
        isAsked(Autostart::flag) || isAsked("-session") || qEnvironmentVariableIsSet("DESKTOP_AUTOSTART_ID");
    if (!instance.claim({.hasWindows = hasWindows, .opensPanel = !isBySession, .token = token}))
        return 0;
    if (hasWindows)
        FloatingWindow::endStartup(token);
    return PlumtideApp().follow(instance, !isBySession);
}
