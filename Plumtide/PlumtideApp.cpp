#include "Plumtide/PlumtideApp.h"

#include "Plumtide/DesktopShell.h"
#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/desktop/Notifier.h"
#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/hooks/Silence.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/TerminationSignals.h"

#include <QApplication>

#include <cstdio>
#include <cstdlib>

namespace {

void printMessage(const HooksInstaller &installer)
{
    const QByteArray line = installer.message().value_or(QString()).toUtf8();
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
}

} // namespace

int PlumtideApp::resetMiniBoard(const Instance &instance)
{
    if (!instance.resetMiniBoard())
        Defaults(Defaults::standardPath(Environment::realHome())).remove(MiniBoardController::originKey);
    return 0;
}

PlumtideApp::PlumtideApp() : m_signals(std::make_unique<TerminationSignals>()), m_store(TaskStore::shared())
{
    // Qt ends the process by `exit` when the display goes.
    std::atexit([] { TaskStore::shared().finish(); });
}

PlumtideApp::~PlumtideApp()
{
    m_store.finish();
}

int PlumtideApp::installHooks()
{
    // What was taken from the log is kept, and a Plumtide that is started beside us need not wait until we end.
    m_store.finish();
    HooksInstaller &installer = HooksInstaller::shared();
    installer.installClaude();
    printMessage(installer);
    installer.installCodex();
    printMessage(installer);
    for (const QString &reason : reasonsForSilence(Environment::realHome()))
        std::fprintf(stderr, "Plumtide: %s\n", qUtf8Printable(reason));
    return 0;
}

int PlumtideApp::follow(Instance &instance)
{
    if (!m_store.isOwner()) {
        std::fputs("Plumtide: 已经在运行了。\n", stderr);
        return 0;
    }
    HooksInstaller &installer = HooksInstaller::shared(); // brings deployed scripts up to date, with windows or without
    m_store.setNotify(
        [](const Board::Notice &notice) { Notifier::shared().notify(notice.title, notice.body, notice.id); });
    QObject::connect(m_signals.get(), &TerminationSignals::requested, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    QObject::connect(&instance, &Instance::replaced, QCoreApplication::instance(), &QCoreApplication::quit);
    std::unique_ptr<DesktopShell> desktop;
    if (qobject_cast<QApplication *>(QCoreApplication::instance())) {
        desktop = std::make_unique<DesktopShell>(m_store, installer, instance, Environment::real());
        QObject::connect(desktop.get(), &DesktopShell::quitRequested, QCoreApplication::instance(),
                         &QCoreApplication::quit);
    }
    return QCoreApplication::exec();
}
