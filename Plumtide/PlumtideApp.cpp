#include "Plumtide/PlumtideApp.h"

#include "Plumtide/DesktopShell.h"
#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/desktop/Autostart.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/desktop/Notifier.h"
#include "Plumtide/desktop/SessionTerminal.h"
#include "Plumtide/hooks/HookDiagnostics.h"
#include "Plumtide/hooks/HookFiles.h"
#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/hooks/HooksRemoval.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Files.h"
#include "Plumtide/system/TerminationSignals.h"

#include <QApplication>
#include <QFileInfo>
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

void PlumtideApp::removeTemporaries()
{
    const QString &home = Environment::realHome();
    for (const QString &file :
         {home + HookFiles::claudeSettings, home + HookFiles::codexConfig, home + HookFiles::claudeScript,
          home + u"/.tavvel/tasks.json"_s, Defaults::standardPath(home), Defaults::standardSparePath(home),
          Autostart::standardPath(home)})
        Files::removeTemporaries(file);
}

int PlumtideApp::removeHooks()
{
    for (const QString &sentence : HooksRemoval::remove(Environment::realHome()))
        std::puts(qUtf8Printable(sentence));
    return 0;
}

int PlumtideApp::resetMiniBoard(const Instance &instance)
{
    if (!instance.resetMiniBoard())
        Environment::real().defaults->remove(MiniBoardController::originKey);
    return 0;
}

PlumtideApp::PlumtideApp()
    : m_isFirst(!QFileInfo::exists(Environment::real().defaults->path())),
      m_store(TaskStore::shared()),
      m_signals(std::make_unique<TerminationSignals>())
{
}

PlumtideApp::~PlumtideApp()
{
    m_store.finish();
}

int PlumtideApp::installHooks()
{
    Environment environment = Environment::real();
    environment.ownerPatience = {}; // a Plumtide that runs beside us looks after the board
    {
        TaskStore store(environment); // goes at once: a Plumtide that is started beside us need not wait until we end
        store.refreshEventState();
    }
    HooksInstaller installer(environment);
    for (const auto install : {&HooksInstaller::installClaude, &HooksInstaller::installCodex}) {
        (installer.*install)();
        std::puts(qUtf8Printable(installer.message().value_or(QString())));
        std::fflush(stdout);
    }
    for (const QString &problem : hookProblems(Environment::realHome()))
        std::fprintf(stderr, "Plumtide: %s\n", qUtf8Printable(problem));
    return 0;
}

int PlumtideApp::follow(Instance &instance, bool isByUser)
{
    if (!m_store.isOwner()) {
        std::fputs("Plumtide: 已经在运行了。\n", stderr);
        return 0;
    }
    auto *const application = QCoreApplication::instance();
    HooksInstaller &installer = HooksInstaller::shared(); // brings deployed scripts up to date, with windows or without
    m_store.setNotify(
        [](const Board::Notice &notice) { Notifier::shared().notify(notice.title, notice.body, notice.id); });
    QObject::connect(&Notifier::shared(), &Notifier::sessionRequested, &instance, [&](const QString &id) {
        const QString line = id.section(u'-', 1); // see Board::Notice
        SessionTerminal::bringToFront(line, m_store.recordedProcess(line), &instance, [id](const Outcome<void> &there) {
            if (!there)
                Notifier::shared().notify(u"前往会话"_s, there.failure().sentence, id);
        });
    });
    QObject::connect(m_signals.get(), &TerminationSignals::requested, application, &QCoreApplication::quit);
    QObject::connect(&instance, &Instance::replaced, application, &QCoreApplication::quit);
    std::unique_ptr<DesktopShell> desktop;
    if (qobject_cast<QApplication *>(application)) {
        desktop = std::make_unique<DesktopShell>(m_store, installer, instance, Environment::real());
        QObject::connect(desktop.get(), &DesktopShell::quitRequested, application, &QCoreApplication::quit);
        if (m_isFirst && isByUser) // a newcomer is shown what there is to connect
            QTimer::singleShot(0, desktop.get(), [&desktop] { desktop->openPanel(); });
    }
    return QCoreApplication::exec();
}
