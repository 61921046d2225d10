#include "Plumtide/desktop/TrayHost.h"

#include "Plumtide/desktop/XembedTray.h"

#include <QDBusMessage>
#include <QGuiApplication>

using namespace Qt::StringLiterals;

namespace {

const QString watcherName = u"org.kde.StatusNotifierWatcher"_s;
const QString busName = u"org.freedesktop.DBus"_s;
const QString busPath = u"/org/freedesktop/DBus"_s;
constexpr std::chrono::milliseconds patience{10'000};

} // namespace

// Qt's own connection: QSystemTrayIcon needs it anyway, and finds it made.
TrayHost::TrayHost(std::chrono::milliseconds grace, QObject *parent)
    : QObject(parent),
      m_bus(SessionBus::Sharing::Default, patience, [this](QDBusConnection &connection) { lookForWatcher(connection); })
{
    m_grace.setSingleShot(true);
    m_grace.setInterval(grace);
    connect(&m_grace, &QTimer::timeout, this, &TrayHost::decideForXembed);
    connect(&m_bus, &SessionBus::opened, this, [this] {
        if (m_hasWatcher)
            finish(Kind::StatusNotifier);
        else
            lookForXembed();
    });
}

TrayHost::~TrayHost()
{
    m_bus.close(); // the helper uses this object
}

void TrayHost::start()
{
    if (m_bus.isAvailable())
        m_bus.open();
    else
        lookForXembed();
}

// On the bus's helper thread.
void TrayHost::lookForWatcher(QDBusConnection &connection)
{
    // First the subscription, so that a watcher that comes in between is not missed.
    connection.connect(busName, busPath, busName, u"NameOwnerChanged"_s, {watcherName}, QString(), this,
                       SLOT(noteOwner(QString, QString, QString)));
    QDBusMessage question = QDBusMessage::createMethodCall(busName, busPath, busName, u"NameHasOwner"_s);
    question << watcherName;
    const QDBusMessage answer = connection.call(question, QDBus::Block, static_cast<int>(patience.count()));
    m_hasWatcher = answer.arguments().value(0).toBool();
}

void TrayHost::noteOwner(const QString & /*name*/, const QString & /*oldOwner*/, const QString &newOwner)
{
    if (!newOwner.isEmpty())
        finish(Kind::StatusNotifier);
}

void TrayHost::lookForXembed()
{
    if (m_isFound || QGuiApplication::platformName() != u"xcb"_s)
        return;
    m_xembed = new XembedTray(this);
    connect(m_xembed, &XembedTray::appeared, &m_grace, qOverload<>(&QTimer::start));
    if (m_xembed->isThere())
        m_grace.start();
}

void TrayHost::decideForXembed()
{
    if (m_isFound || !m_xembed->isThere()) // it has gone again; the next one announces itself
        return;
    // Qt will ask for the session bus now, and libdbus would start one where there is none.
    if (!m_bus.isAvailable())
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    finish(Kind::XEmbed);
}

void TrayHost::finish(Kind kind)
{
    if (m_isFound)
        return;
    m_isFound = true;
    m_grace.stop();
    if (m_xembed)
        m_xembed->deleteLater();
    Q_EMIT found(kind);
}
