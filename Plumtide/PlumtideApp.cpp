#include "Plumtide/PlumtideApp.h"

#include "Plumtide/DesktopShell.h"
#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/app/Notifier.h"
#include "Plumtide/desktop/InstanceSocket.h"
#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/TerminationSignals.h"

#include <QApplication>

#include <cstdio>

namespace {

void printMessage(const HooksInstaller &installer)
{
    const QByteArray line = installer.message().value_or(QString()).toUtf8();
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
}

} // namespace

bool PlumtideApp::openInRunning()
{
    return InstanceSocket::ask(DesktopShell::socketPath(Environment::realHome()), InstanceSocket::openWord);
}

int PlumtideApp::resetMiniBoard()
{
    const QString &home = Environment::realHome();
    if (!InstanceSocket::ask(DesktopShell::socketPath(home), InstanceSocket::resetMiniBoardWord))
        Defaults(Defaults::standardPath(home)).remove(MiniBoardController::originKey);
    return 0;
}

PlumtideApp::PlumtideApp(Mode mode)
    : m_mode(mode), m_signals(std::make_unique<TerminationSignals>()), m_store(TaskStore::shared())
{
}

PlumtideApp::~PlumtideApp()
{
    m_store.finish();
}

int PlumtideApp::run()
{
    return m_mode == Mode::InstallHooks ? installHooks() : follow();
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
    return 0;
}

int PlumtideApp::follow()
{
    if (!m_store.isOwner()) {
        std::fputs("Plumtide: 已经在运行了。\n", stderr);
        return 0;
    }
    HooksInstaller &installer = HooksInstaller::shared(); // brings deployed scripts up to date, with windows or without
    m_store.setNotify([](const QString &title, const QString &body, const QString &id) {
        Notifier::shared().notify(title, body, id);
    });
    QObject::connect(m_signals.get(), &TerminationSignals::requested, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    std::unique_ptr<DesktopShell> desktop;
    if (qobject_cast<QApplication *>(QCoreApplication::instance())) {
        desktop = std::make_unique<DesktopShell>(m_store, installer, Environment::real());
        QObject::connect(desktop.get(), &DesktopShell::quitRequested, QCoreApplication::instance(),
                         &QCoreApplication::quit);
    }
    return QCoreApplication::exec();
}
