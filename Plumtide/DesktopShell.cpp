#include "Plumtide/DesktopShell.h"

#include "Plumtide/Services.h"
#include "Plumtide/app/MiniBoardController.h"
#include "Plumtide/app/PanelWindow.h"
#include "Plumtide/app/TrayItem.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/desktop/SessionTerminal.h"
#include "Plumtide/views/LineMenu.h"
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
      m_tray(std::make_unique<TrayItem>(m_trayHost)),
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
    connect(m_tray.get(), &TrayItem::openRequested, this, [this] { openPanel(); });
    connect(m_tray.get(), &TrayItem::undoRequested, &m_store, &TaskStore::undo);
    connect(m_tray.get(), &TrayItem::quitRequested, this, &DesktopShell::quitRequested);
    connect(m_tray.get(), &TrayItem::miniBoardSwitched, m_miniBoard.get(), &MiniBoardController::setEnabled);
    connect(m_miniBoard.get(), &MiniBoardController::enabledChanged, this, [this](bool isOn) {
        m_tray->setMiniBoardOn(isOn);
        if (m_panelView)
            m_panelView->setMiniBoardOn(isOn);
    });
    m_tray->setMiniBoardOn(m_miniBoard->isEnabled());
    connect(m_tray.get(), &TrayItem::menuOpening, this, [this] {
        m_tray->setLoginStartOn(m_autostart.isOn());
        m_tray->setUndoText(LineMenu::undoText(m_store));
    });
    connect(m_tray.get(), &TrayItem::loginStartSwitched, this, &DesktopShell::switchLoginStart);
    m_tray->setLoginStartOn(m_autostart.isOn()); // for desktop bars that do not report that they open a menu
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
        connect(m_panelView, &PanelView::sessionRequested, this, [this](const QString &id) {
            const AgentTask line = m_store.task(id).value_or(AgentTask());
            const bool isCodex = line.agent() == TaskSource::codex;
            const pid_t recorded = m_store.recordedProcess(line);
            SessionTerminal::bringToFront(line.session(), isCodex, recorded, m_panelView, [this](const auto &there) {
                if (there)
                    return;
                openPanel(); // it may be asked for on the mini board
                m_panelView->tell(there.failure().sentence);
            });
        });
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
    connect(view, &MiniBoardView::mainPanelRequested, m_miniBoard.get(), &MiniBoardController::openMainPanel);
    connect(view, &MiniBoardView::lineWished, this, [this](const QString &wish, const QString &line) {
        if (wish == u"edit")
            openPanel();
        (void)panel();
        m_panelView->act(wish, line);
    });
    return view;
}

void DesktopShell::switchLoginStart(bool isOn)
{
    if (const Outcome<void> done = m_autostart.setOn(isOn); !done)
        std::fprintf(stderr, "Plumtide: %s\n", qUtf8Printable(done.failure().sentence));
    m_tray->setLoginStartOn(m_autostart.isOn());
}

void DesktopShell::scheduleCount()
{
    if (!m_countTimer.isActive())
        m_countTimer.start(m_sinceCount.hasExpired(countPause.count()) ? 0ms : countPause);
}

void DesktopShell::showCount()
{
    m_tray->setUrgentCount(m_store.urgentCount());
    m_tray->setUndoText(LineMenu::undoText(m_store));
    m_sinceCount.start();
}
