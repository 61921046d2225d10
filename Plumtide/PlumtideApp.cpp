#include "Plumtide/PlumtideApp.h"

#include "Plumtide/DesktopShell.h"
#include "Plumtide/Services.h"
#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/desktop/Autostart.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/desktop/SessionTerminal.h"
#include "Plumtide/hooks/HookDiagnostics.h"
#include "Plumtide/hooks/HookFiles.h"
#include "Plumtide/hooks/HooksRemoval.h"
#include "Plumtide/system/Files.h"
#include "Plumtide/system/TerminationSignals.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>

using namespace Qt::StringLiterals;

int PlumtideApp::help()
{
    std::fputs("用法：plumtide [参数]\n"
               "跟进这台机器上 Claude Code 和 Codex 的会话，看板在托盘里。已经在运行时，打开它的看板。\n\n"
               "  --install-hooks     接入 Claude Code 和 Codex\n"
               "  --remove-hooks      取消接入\n"
               "  --reset-mini-board  把悬浮板带回屏幕右上角\n"
               "  --at-login          由桌面会话启动：不打开看板\n"
               "  --help              显示这些说明\n"
               "  --version           显示版本\n\n"
               "其他参数不起作用。更多说明见 man plumtide。\n",
               stdout);
    return 0;
}

int PlumtideApp::version()
{
    std::puts("plumtide " PLUMTIDE_VERSION);
    return 0;
}

void PlumtideApp::removeTemporaries(const QString &home)
{
    for (const QString &file :
         {home + HookFiles::claudeSettings, home + HookFiles::codexConfig, home + HookFiles::claudeScript,
          home + u"/.tavvel/tasks.json"_s, Defaults::standardPath(home), Defaults::standardSparePath(home),
          Autostart::standardPath(home)})
        Files::removeTemporaries(file);
}

int PlumtideApp::removeHooks(const QString &home)
{
    for (const QString &sentence : HooksRemoval::remove(home))
        std::puts(qUtf8Printable(sentence));
    return 0;
}

int PlumtideApp::resetMiniBoard(const QString &home, const Instance &instance)
{
    if (instance.resetMiniBoard())
        return 0;
    if (const std::optional<HomeLock> lock = HomeLock::acquire(home, HomeLock::patience))
        Environment::real().defaults.remove(MiniBoardController::originKey);
    else // it would write the place back, which it has in memory
        std::fputs("Plumtide: 已经在运行了，但联系不上它，悬浮板没有动。请先退出它，再试一次。\n", stderr);
    return 0;
}

int PlumtideApp::installHooks()
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
    for (const QString &problem : hookProblems(environment.home))
        std::fprintf(stderr, "Plumtide: %s\n", qUtf8Printable(problem));
    return 0;
}

int PlumtideApp::follow(Services &services, Instance &instance, bool opensPanel)
{
    // After the lines were read, which a signal may end at once, and before the event loop runs, which reads the log.
    quitOnTerminationSignals();
    auto *const application = QCoreApplication::instance();
    TaskStore &store = services.store;
    Notifier &notifier = services.notifier;
    store.setNotify([&](const Board::Notice &notice) { notifier.notify(notice.title, notice.body, notice.id()); });
    QObject::connect(&notifier, &Notifier::sessionRequested, application, [&](const QString &id) {
        const AgentTask line = store.task(Board::Notice::lineOf(id)).value_or(AgentTask());
        const bool isCodex = line.agent() == TaskSource::codex;
        SessionTerminal::bringToFront(line.session(), isCodex, store.recordedProcess(line), &instance,
                                      [&, id](const Outcome<void> &there) {
                                          if (!there)
                                              notifier.notify(u"前往会话"_s, there.failure().sentence, id);
                                      });
    });
    QObject::connect(&instance, &Instance::replaced, application, &QCoreApplication::quit);
    std::unique_ptr<DesktopShell> desktop;
    if (qobject_cast<QApplication *>(application)) {
        desktop = std::make_unique<DesktopShell>(services, instance);
        QObject::connect(desktop.get(), &DesktopShell::quitRequested, application, &QCoreApplication::quit);
        if (opensPanel)
            QTimer::singleShot(0, desktop.get(), [&desktop] { desktop->openPanel(); });
    }
    return QCoreApplication::exec();
}
