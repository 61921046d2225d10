#include "Plumtide/DesktopShell.h"

#include "Plumtide/Services.h"
#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/app/PanelWindow.h"
#include "Plumtide/app/TrayItem.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/desktop/SessionTerminal.h"
#include "Plumtide/views/MiniBoardView.h"
#include "Plumtide/views/PanelView.h"

#include <chrono>
#include <cstdio>

#include <malloc.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// The shortest time between two tray icons: each is sent as pixels on the bus.
constexpr std::chrono::milliseconds countPause = 100ms;

// The heap is trimmed when the panel has been closed for this long.
constexpr std::chrono::milliseconds idleTime = 5s;

} // namespace

DesktopShell::DesktopShell(Services &services, Instance &instance)
    : m_store(services.store),
      m_installer(services.installer),
      m_notifier(services.notifier),
      m_clock(services.environment.clock),
      m_autostart(Autostart::standardPath(services.environment.home), services.environment.program),
      m_undo(m_store, nullptr),
      m_tray(std::make_unique<TrayItem>(m_trayHost, m_trayMenu)),
      m_miniBoard(std::make_unique<MiniBoardController>(
          services.environment.defaults,
          [this] {
              return MiniBoardWindow::Content{makeMiniBoardContent(), MiniBoardView::shadowMargin,
                                              MiniBoardView::cornerRadius};
          },
          [this] { openPanel(); }))
{
    m_idleTimer.setSingleShot(true);
    m_idleTimer.setInterval(idleTime);
    connect(&m_idleTimer, &QTimer::timeout, this, [] { ::malloc_trim(0); });
    m_countTimer.setSingleShot(true);
    connect(&m_countTimer, &QTimer::timeout, this, &DesktopShell::showCount);
    connect(&m_store, &TaskStore::objectWillChange, this, &DesktopShell::scheduleCount);
    showCount();

    connect(m_tray.get(), &TrayItem::clicked, this, [this](const QRect &place) { panel().toggle(place); });
    fillTrayMenu();
    connect(m_miniBoard.get(), &MiniBoardController::enabledChanged, this, [this](bool isOn) {
        m_miniBoardSwitch->setChecked(isOn);
        if (m_panelView)
            m_panelView->setMiniBoardOn(isOn);
    });
    connect(&instance, &Instance::openRequested, this, &DesktopShell::openPanel);
    connect(&instance, &Instance::resetRequested, m_miniBoard.get(), &MiniBoardController::resetPlace);
    connect(&m_notifier, &Notifier::activated, this, [this](const QString &id, const QByteArray &token) {
        openPanel(token);
        m_panelView->showLine(Board::Notice::lineOf(id));
    });

    m_trayHost.start();
    QTimer::singleShot(0ms, m_miniBoard.get(), &MiniBoardController::applyPreference); // once the event loop runs
}

DesktopShell::~DesktopShell()
{
    m_notifier.takeAllBack(); // nobody would handle their actions
}

void DesktopShell::openPanel(const QByteArray &token)
{
    panel().open({}, token);
}

PanelWindow &DesktopShell::panel()
{
    if (!m_panel) {
        m_panelView = new PanelView(m_store, m_installer, m_clock);
        m_panelView->setMiniBoardOn(m_miniBoard->isEnabled());
        connect(m_panelView, &PanelView::miniBoardSwitched, m_miniBoard.get(), &MiniBoardController::setEnabled);
        connect(m_panelView, &PanelView::quitRequested, this, &DesktopShell::quitRequested);
        connect(m_panelView, &PanelView::sessionRequested, this, &DesktopShell::openSession);
        m_panel = std::make_unique<PanelWindow>(m_panelView);
        connect(m_panel.get(), &PanelWindow::opened, this, [this] {
            m_idleTimer.stop();
            m_panelView->setFocus(Qt::OtherFocusReason);
        });
        connect(m_panel.get(), &PanelWindow::closed, &m_idleTimer, qOverload<>(&QTimer::start));
    }
    return *m_panel;
}

QWidget *DesktopShell::makeMiniBoardContent()
{
    auto *view = new MiniBoardView(m_store, m_installer);
    connect(view, &MiniBoardView::activated, this, [this](const Command &command) {
        const auto *onLine = std::get_if<LineCommand>(&command);
        if (onLine && onLine->action == LineAction::OpenSession)
            return openSession(onLine->line);
        m_miniBoard->openMainPanel();
        m_panelView->run(command);
    });
    return view;
}

void DesktopShell::openSession(const QString &id)
{
    const AgentTask line = m_store.task(id).value_or(AgentTask());
    const bool isCodex = line.agent() == TaskSource::codex;
    const pid_t recorded = m_store.recordedProcess(line);
    SessionTerminal::bringToFront(line.session(), isCodex, recorded, this, [this](const auto &there) {
        if (there)
            return;
        openPanel(); // it may be asked for on the mini board
        m_panelView->showMessage(there.failure().sentence);
    });
}

void DesktopShell::fillTrayMenu()
{
    m_trayMenu.addAction(u"打开看板"_s, this, [this] { openPanel(); });
    m_trayMenu.addAction(&m_undo);
    m_miniBoardSwitch = m_trayMenu.addAction(u"悬浮板"_s, m_miniBoard.get(), &MiniBoardController::setEnabled);
    m_loginStartSwitch = m_trayMenu.addAction(u"登录时启动"_s, this, &DesktopShell::switchLoginStart);
    m_miniBoardSwitch->setCheckable(true);
    m_miniBoardSwitch->setChecked(m_miniBoard->isEnabled());
    m_loginStartSwitch->setCheckable(true);
    m_loginStartSwitch->setChecked(m_autostart.isOn()); // for trays that never say that they open the menu
    m_trayMenu.addSeparator();
    m_trayMenu.addAction(u"退出"_s, this, &DesktopShell::quitRequested);
    connect(&m_trayMenu, &QMenu::aboutToShow, this, [this] {
        m_loginStartSwitch->setChecked(m_autostart.isOn());
        m_undo.updateText();
    });
}

void DesktopShell::switchLoginStart(bool isOn)
{
    if (const Outcome<void> done = m_autostart.setOn(isOn); !done)
        std::fprintf(stderr, "Plumtide: %s\n", qUtf8Printable(done.failure().sentence));
    m_loginStartSwitch->setChecked(m_autostart.isOn());
}

void DesktopShell::scheduleCount()
{
    if (!m_countTimer.isActive())
        m_countTimer.start(m_sinceCount.hasExpired(countPause.count()) ? 0ms : countPause);
}

void DesktopShell::showCount()
{
    m_tray->setUrgentCount(m_store.urgentCount());
    m_undo.updateText();
    m_sinceCount.start();
}
