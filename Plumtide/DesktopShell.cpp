#include "Plumtide/DesktopShell.h"

#include "Plumtide/Services.h"
#include "Plumtide/desktop/FloatingWindow.h"
#include "Plumtide/desktop/Instance.h"
#include "Plumtide/views/MiniBoardView.h"
#include "Plumtide/views/PanelView.h"

#include <QCoreApplication>

#include <chrono>
#include <cstdio>

#include <malloc.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

DesktopShell::DesktopShell(Services &services, Instance &instance)
    : m_services(services),
      m_autostart(Autostart::standardPath(services.environment.home), services.environment.program),
      m_undo(services.store, nullptr),
      m_tray(m_trayMenu),
      m_miniBoard(services.environment.defaults, [this] { return makeMiniBoard(); })
{
    m_idleTimer.setSingleShot(true);
    m_idleTimer.setInterval(5s);
    connect(&m_idleTimer, &QTimer::timeout, this, [] { ::malloc_trim(0); });
    m_countTimer.setSingleShot(true);
    connect(&m_countTimer, &QTimer::timeout, this, &DesktopShell::showCount);
    connect(&services.store, &TaskStore::objectWillChange, this, &DesktopShell::scheduleCount);
    connect(&services.store.notifications(), &NotificationFilter::mutedUntilChanged, this,
            &DesktopShell::scheduleCount);

    connect(&m_tray, &TrayItem::clicked, this, [this](const QRect &place) { panel().toggle(place); });
    fillTrayMenu();
    showCount();
    connect(&m_miniBoard, &MiniBoardController::enabledChanged, this, [this](bool isOn) {
        m_miniBoardSwitch->setChecked(isOn);
        if (m_panelView)
            m_panelView->setMiniBoardOn(isOn);
    });
    connect(&instance, &Instance::openRequested, this, &DesktopShell::openPanel);
    connect(&instance, &Instance::resetRequested, &m_miniBoard, &MiniBoardController::resetPlace);
    connect(&services.notifier, &Notifier::activated, this, [this](const QString &id, const QByteArray &token) {
        openPanel(token);
        m_panelView->showLine(m_services.lineOf(id));
    });

    QTimer::singleShot(0ms, &m_miniBoard, &MiniBoardController::applyPreference); // once the event loop runs
}

PanelWindow &DesktopShell::panel()
{
    if (!m_panel) {
        m_panelView = new PanelView(m_services.store, m_services.installer, m_services.environment.clock);
        m_panelView->setMiniBoardOn(m_miniBoard.isEnabled());
        connect(m_panelView, &PanelView::miniBoardSwitched, &m_miniBoard, &MiniBoardController::setEnabled);
        connect(m_panelView, &PanelView::quitRequested, qApp, &QCoreApplication::quit);
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

MiniBoardWindow::Content DesktopShell::makeMiniBoard()
{
    auto *view = new MiniBoardView(m_services.store, m_services.installer);
    connect(view, &MiniBoardView::activated, this, [this](const Command &command) {
        const auto *onLine = std::get_if<LineCommand>(&command);
        if (onLine && onLine->action == LineAction::OpenSession)
            return openSession(onLine->line);
        openPanel();
        m_panelView->run(command); // which has nothing more to do for OpenPanel
    });
    return {view, MiniBoardView::shadowMargin, MiniBoardView::cornerRadius};
}

void DesktopShell::openSession(const QString &lineId)
{
    SessionTerminal::bringToFront(m_services.sessionOf(lineId), this, [this](const Outcome<void> &there) {
        if (there)
            return;
        openPanel(); // it may be asked for on the mini board
        m_panelView->showMessage(there.failure().sentence);
    });
}

void DesktopShell::goTo(const QString &lineId, const QByteArray &token)
{
    const SessionTerminal::Session session = m_services.sessionOf(lineId);
    SessionTerminal::bringToFront(session, this, [=, this](const Outcome<void> &there) {
        if (lineId != m_services.lastNext) // a later call has gone on meanwhile
            return FloatingWindow::endStartup(token);
        if (there) {
            if (m_panel)
                m_panel->hide(); // one that has just opened would take the focus back
            return FloatingWindow::endStartup(token);
        }
        openPanel(token);
        m_panelView->showLine(lineId);
        if (!session.id.isEmpty())
            m_panelView->showMessage(there.failure().sentence);
    });
}

void DesktopShell::fillTrayMenu()
{
    m_trayMenu.addAction(u"打开看板"_s, this, [this] { openPanel(); });
    m_trayMenu.addAction(&m_undo);
    m_trayMenu.addMenu(&m_recentMenu);
    m_miniBoardSwitch = m_trayMenu.addAction(u"悬浮板"_s, &m_miniBoard, &MiniBoardController::setEnabled);
    fillMuteMenu();
    m_loginStartSwitch = m_trayMenu.addAction(u"登录时启动"_s, this, [this](bool isOn) {
        if (const Outcome<void> done = m_autostart.setOn(isOn); !done)
            std::fprintf(stderr, "Plumtide: %s\n", qUtf8Printable(done.failure().sentence));
        m_loginStartSwitch->setChecked(m_autostart.isOn());
    });
    m_miniBoardSwitch->setCheckable(true);
    m_miniBoardSwitch->setChecked(m_miniBoard.isEnabled());
    m_loginStartSwitch->setCheckable(true);
    m_loginStartSwitch->setChecked(m_autostart.isOn()); // for trays that never say that they open the menu
    m_trayMenu.addSeparator();
    m_trayMenu.addAction(u"退出"_s, qApp, &QCoreApplication::quit);
    connect(&m_trayMenu, &QMenu::aboutToShow, this, [this] {
        m_loginStartSwitch->setChecked(m_autostart.isOn());
        updateTrayMenu();
    });
}

void DesktopShell::updateTrayMenu()
{
    m_undo.updateText();
    fillRecentMenu(m_recentMenu, m_services.store, [this](const QString &line) {
        openPanel();
        m_panelView->showLine(line);
    });
}

void DesktopShell::fillMuteMenu()
{
    NotificationFilter &notifications = m_services.store.notifications();
    QMenu *menu = m_trayMenu.addMenu(u"勿扰"_s);
    const auto add = [&](const QString &text, QDateTime (*end)(const QDateTime &now)) {
        menu->addAction(text, this, [this, &notifications, end] {
            notifications.setMutedUntil(end(m_services.environment.clock()));
        });
    };
    add(u"一小时"_s, [](const QDateTime &now) { return now.addSecs(3600); });
    add(u"到明天早上"_s, [](const QDateTime &now) {
        constexpr int morning = 8, endOfNight = 4; // o'clock; before, "tomorrow" is still today
        const QDateTime local = now.toLocalTime();
        return QDateTime(local.date().addDays(local.time().hour() < endOfNight ? 0 : 1), QTime(morning, 0));
    });
    add(u"直到重新打开"_s, [](const QDateTime &) { return NotificationFilter::never(); });
    menu->addSeparator();
    m_muteEnd = menu->addAction(u"结束勿扰"_s, this, [&notifications] { notifications.setMutedUntil({}); });
    QAction *replies = m_trayMenu.addAction(u"回复完成也提醒"_s, &notifications, &NotificationFilter::setShowsReplies);
    replies->setCheckable(true);
    replies->setChecked(notifications.showsReplies());
}

void DesktopShell::scheduleCount()
{
    constexpr auto pause = 100ms; // between two tray icons, each of which is sent as pixels on the bus
    if (!m_countTimer.isActive())
        m_countTimer.start(m_sinceCount.hasExpired(pause.count()) ? 0ms : pause);
}

void DesktopShell::showCount()
{
    const bool isMuted = m_services.store.notifications().mutedUntil().has_value();
    m_tray.setState(m_services.store.urgentCount(), isMuted);
    m_muteEnd->setEnabled(isMuted);
    updateTrayMenu();
    m_sinceCount.start();
}
