#include "Plumtide/DesktopShell.h"
#include "Plumtide/Services.h"
#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/desktop/Autostart.h"
#include "Plumtide/desktop/Display.h"
#include "Plumtide/desktop/FloatingWindow.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/desktop/SessionBus.h"
#include "Plumtide/hooks/HookFiles.h"
#include "Plumtide/system/Files.h"
#include "Plumtide/system/Log.h"
#include "Plumtide/system/TerminationSignals.h"

#include <QApplication>
#include <QFileInfo>
#include <QSessionManager>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string_view>

#include <malloc.h>

using namespace Qt::StringLiterals;

namespace {

constexpr std::string_view installFlag = "--install-hooks", helpFlag = "--help", versionFlag = "--version",
                           removeFlag = "--remove-hooks", resetFlag = "--reset-mini-board", nextFlag = "--next";

constexpr auto usage = "用法：plumtide [参数]\n"
                       "跟进这台机器上 Claude Code 和 Codex 的会话，看板在托盘里。已经在运行时，打开它的看板。\n\n"
                       "  --install-hooks     接入 Claude Code 和 Codex\n"
                       "  --remove-hooks      取消接入\n"
                       "  --reset-mini-board  把悬浮板带回屏幕右上角\n"
                       "  --next              前往下一步的会话；五秒内再来一次，去后面一个\n"
                       "  --at-login          由桌面会话启动：不打开看板\n"
                       "  --help              显示这些说明\n"
                       "  --version           显示版本\n\n"
                       "其他参数不起作用。更多说明见 man plumtide。";

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
    const UsableDisplay display = hasWindows ? findDisplay() : UsableDisplay(); // kept until Qt has connected
    if (display.platform.isEmpty()) {
        if (hasWindows)
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

// Of killed processes of the program, wherever it writes.
void removeTemporaries(const QString &home)
{
    for (const QString &file :
         {home + HookFiles::claudeSettings, home + HookFiles::codexConfig, home + HookFiles::claudeScript,
          home + u"/.tavvel/tasks.json"_s, Defaults::standardPath(home), Defaults::standardSparePath(home),
          Autostart::standardPath(home)})
        Files::removeTemporaries(file);
}

int removeHooks(const QString &home)
{
    for (const QString &sentence : HooksInstaller::remove(home))
        std::puts(qUtf8Printable(sentence));
    return 0;
}

int resetMiniBoard(const QString &home, const Instance &instance)
{
    if (instance.resetMiniBoard())
        return 0;
    if (const std::optional<HomeLock> lock = HomeLock::acquire(home, HomeLock::usualTimeout))
        Environment::real().defaults.remove(MiniBoardController::originKey);
    else // it would write the place back, which it has in memory
        std::fputs("Plumtide: 已经在运行了，但联系不上它，悬浮板没有动。请先退出它，再试一次。\n", stderr);
    return 0;
}

int installHooks()
{
    Environment environment = Environment::real();
    // Released at once, so that a Plumtide that is started meanwhile need not wait. One that runs reads the log itself.
    if (const std::optional<HomeLock> lock = HomeLock::acquire(environment.home))
        TaskStore(environment).refreshEventState();
    HooksInstaller installer(environment);
    for (const auto install : {&HooksInstaller::installClaude, &HooksInstaller::installCodex}) {
        (installer.*install)();
        std::puts(qUtf8Printable(installer.message().value_or(QString())));
        std::fflush(stdout);
    }
    for (const QString &problem : HooksInstaller::problems(environment.home))
        std::fprintf(stderr, "Plumtide: %s\n", qUtf8Printable(problem));
    return 0;
}

// Keeps the board until the user or the system ends the program. `instance` has claimed the home.
int run(Services &services, Instance &instance, bool opensPanel, const QByteArray &startToken)
{
    // After the lines were read, which a signal may end at once, and before the event loop runs, which reads the log.
    quitOnTerminationSignals();
    auto *const application = QCoreApplication::instance();
    Notifier &notifier = services.notifier;
    NotificationFilter &notifications = services.store.notifications();
    notifications.setNotify(
        [&](const Board::Notice &notice) { notifier.notify(notice.title, notice.body, notice.id()); });
    notifications.setFindFocus([&](const QString &line, const NotificationFilter::FocusFound &found) {
        SessionTerminal::findFocus(services.sessionOf(line), &instance, found);
    });
    QObject::connect(&notifier, &Notifier::sessionRequested, application, [&](const QString &id) {
        const QString line = services.lineOf(id);
        SessionTerminal::bringToFront(services.sessionOf(line), &instance, [&, id](const Outcome<void> &there) {
            if (!there)
                notifier.notify(u"前往会话"_s, there.failure().sentence, id);
        });
    });
    QObject::connect(&instance, &Instance::replaced, application, &QCoreApplication::quit);
    std::unique_ptr<DesktopShell> desktop;
    if (qobject_cast<QApplication *>(application)) {
        desktop = std::make_unique<DesktopShell>(services, instance);
        if (opensPanel)
            QTimer::singleShot(0, desktop.get(), [&] { desktop->openPanel(startToken); });
    }
    QObject::connect(&instance, &Instance::nextRequested, application, [&](const QByteArray &token) {
        if (const QString next = services.nextLine(); desktop)
            desktop->goTo(next, token);
        else
            SessionTerminal::bringToFront(services.sessionOf(next), application, [](const Outcome<void> &) {});
    });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN); // the reader of standard output may be gone
    std::signal(SIGXFSZ, SIG_IGN); // a limit on the size of files (`ulimit -f`) is handled as a full disk is
    // A line of the log may be megabytes long. A block of this size or more is returned to the system when it is freed;
    // with the default, which grows with the largest block so far, the memory would be kept.
    ::mallopt(M_MMAP_THRESHOLD, 1 << 20);
    const auto isGiven = [&](std::string_view flag) { return std::find(argv, argv + argc, flag) != argv + argc; };
    std::string_view action; // of several, the last of these
    for (const auto flag : {resetFlag, removeFlag, versionFlag, helpFlag, installFlag}) {
        if (isGiven(flag))
            action = flag;
    }
    if (action == helpFlag || action == versionFlag) {
        std::puts(action == helpFlag ? usage : "plumtide " PLUMTIDE_VERSION);
        return 0;
    }
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
    removeTemporaries(home);
    const QByteArray token = takeStartupToken();
    preventBusAutolaunch();
    if (action.empty() || action == resetFlag) // the others need no bus
        skipUnresponsiveBus();
    const std::unique_ptr<QCoreApplication> application = makeApplication(argv, action.empty());
    if (action == installFlag)
        return installHooks();
    if (action == removeFlag)
        return removeHooks(home);
    Instance instance(home);
    if (action == resetFlag)
        return resetMiniBoard(home, instance);
    const bool hasWindows = qobject_cast<QApplication *>(application.get()) != nullptr;
    const bool isStartedBySession =
        isGiven(Autostart::flag) || isGiven("-session") || qEnvironmentVariableIsSet("DESKTOP_AUTOSTART_ID");
    const bool goesToNext = isGiven(nextFlag);
    if (!instance.claim(
            {.hasWindows = hasWindows, .opensPanel = !isStartedBySession, .goesToNext = goesToNext, .token = token}))
        return 0;
    if (hasWindows)
        FloatingWindow::endStartup(token);
    std::optional<HomeLock> lock = HomeLock::acquire(home, HomeLock::usualTimeout);
    if (!lock) {
        std::fputs("Plumtide: 已经在运行了。\n", stderr);
        return 0;
    }
    // When the user starts it for the first time, the panel opens and offers to connect the agents.
    const bool isFirstRun = !QFileInfo::exists(Defaults::standardPath(home));
    Services services{.lock = *std::move(lock)};
    // The agents' records are read later, so that no terminal could be found yet.
    return run(services, instance, goesToNext || (isFirstRun && !isStartedBySession), token);
}
