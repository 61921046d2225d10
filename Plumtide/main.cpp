#include "Plumtide/PlumtideApp.h"
#include "Plumtide/desktop/Display.h"
#include "Plumtide/desktop/SessionBus.h"

#include <QApplication>
#include <QFile>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <span>
#include <string_view>

namespace {

std::unique_ptr<QCoreApplication> makeApplication(char **argv, bool isInstalling)
{
    // Qt sees none of the arguments: it would end the process over a "-platform" that it cannot start.
    static int argc = 1;
    if (isInstalling)
        return std::make_unique<QCoreApplication>(argc, argv);
    if (!chooseDisplayPlatform()) {
        std::fputs("Plumtide: 没有可用的图形界面，在后台继续运行，不显示窗口。\n", stderr);
        return std::make_unique<QCoreApplication>(argc, argv);
    }
    ignoreDesktopTheme();
    SessionBus::disableMute();
    QGuiApplication::setDesktopFileName(QCoreApplication::applicationName());
    QApplication::setStyle(QStringLiteral("Fusion"));
    auto application = std::make_unique<QApplication>(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return application;
}

} // namespace

int main(int argc, char **argv)
{
    // Whoever reads our output may have gone; that must not end us in the middle of something.
    std::signal(SIGPIPE, SIG_IGN);
    const QByteArray home = qgetenv("HOME");
    if (QFile::encodeName(QFile::decodeName(home)) != home) {
        // Qt could not name it, and would make a folder of another name beside it.
        std::fputs("Plumtide: 主目录的路径不是 UTF-8 文本，无法使用。\n", stderr);
        return 0;
    }
    QCoreApplication::setApplicationName(QStringLiteral("plumtide"));
    const std::span<char *> arguments(argv, static_cast<size_t>(argc));
    const auto isAsked = [&](std::string_view flag) { return std::ranges::find(arguments, flag) != arguments.end(); };
    const bool isInstalling = isAsked(PlumtideApp::installFlag);
    if (!isInstalling && isAsked(PlumtideApp::resetFlag))
        return PlumtideApp::resetMiniBoard();
    if (!isInstalling && PlumtideApp::openInRunning())
        return 0;
    const std::unique_ptr<QCoreApplication> application = makeApplication(argv, isInstalling);
    return PlumtideApp(isInstalling ? PlumtideApp::Mode::InstallHooks : PlumtideApp::Mode::Follow).run();
}
