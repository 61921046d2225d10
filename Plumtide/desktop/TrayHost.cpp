#include "Plumtide/desktop/TrayHost.h"

#include "Plumtide/system/Log.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

TrayHost::TrayHost()
{
    m_grace.setSingleShot(true);
    m_grace.setInterval(3s);
    connect(&m_grace, &QTimer::timeout, this, [this] { finish("XEmbed"); });
    connect(&m_xembed, &ManagerSelection::changed, this, [this](bool isThere) {
        qCDebug(desktopLog) << "XEmbed tray:" << isThere;
        isThere && !m_isFound ? m_grace.start() : m_grace.stop();
    });
    if (m_xembed.isOwned())
        m_grace.start();

    const QString name = u"org.kde.StatusNotifierWatcher"_s;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    qCDebug(desktopLog) << "session bus:" << bus.isConnected() << "XEmbed tray:" << m_xembed.isOwned();
    if (!bus.isConnected())
        return;
    // Subscribed to before it is asked for, so that none is missed in between.
    auto *const watcher = new QDBusServiceWatcher(name, bus, QDBusServiceWatcher::WatchForRegistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { finish("StatusNotifier"); });
    auto *const answer = new QDBusPendingCallWatcher(bus.interface()->asyncCall(u"NameHasOwner"_s, name), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        if (const QDBusPendingReply<bool> reply = *answer; reply.isValid() && reply.value())
            finish("StatusNotifier");
    });
}

void TrayHost::finish(const char *kind)
{
    if (m_isFound)
        return;
    qCDebug(desktopLog) << "tray:" << kind;
    m_isFound = true;
    m_grace.stop();
    Q_EMIT found();
}
