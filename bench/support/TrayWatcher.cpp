#include "bench/support/TrayWatcher.h"

#include "bench/support/Report.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>

using namespace Qt::StringLiterals;

namespace {

const QString connectionName = u"bench-tray"_s;

void callItem(const QString &item, const QString &interface, const QString &method, const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(item, u"/StatusNotifierItem"_s, interface, method);
    call.setArguments(arguments);
    QDBusConnection(connectionName).asyncCall(call);
}

} // namespace

TrayWatcher::TrayWatcher(const QString &busAddress)
{
    QDBusConnection bus = QDBusConnection::connectToBus(busAddress, connectionName);
    if (!bus.registerObject(u"/StatusNotifierWatcher"_s, this,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties)
        || !bus.registerService(u"org.kde.StatusNotifierWatcher"_s))
        Report::giveUp("no session bus.");
}

TrayWatcher::~TrayWatcher()
{
    QDBusConnection::disconnectFromBus(connectionName);
}

void TrayWatcher::RegisterStatusNotifierItem(const QString & /*service*/)
{
    m_lastRegistration = std::chrono::steady_clock::now();
    m_items.append(message().service());
    callItem(m_items.last(), u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s, {u"org.kde.StatusNotifierItem"_s});
}

void TrayWatcher::click(const QString &item) const
{
    callItem(item, u"org.kde.StatusNotifierItem"_s, u"Activate"_s, {640, 10});
}
