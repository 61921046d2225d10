#include "Plumtide/app/Notifier.h"
#include "Plumtide/desktop/NotificationService.h"
#include "Plumtide/desktop/SessionBus.h"

#include "tests/app/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto patientlyMs = 10'000; // how long a condition may take before it counts as never met
constexpr qint64 atOnceMs = 50;

/// The notification service of a desktop, which writes down what it is asked for.
class FakeService final : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Call
    {
        QString application;
        uint replaces;
        QString icon, title, body;
        QStringList actions;
        QVariantMap hints;
        int expireTimeout;
        uint number;
    };

    FakeService()
    {
        static int count = 0;
        m_name = u"fake-%1"_s.arg(++count);
        QDBusConnection connection = QDBusConnection::connectToBus(PrivateBus::address(), m_name);
        connection.registerObject(u"/org/freedesktop/Notifications"_s, this,
                                  QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
        EXPECT_TRUE(connection.registerService(u"org.freedesktop.Notifications"_s));
    }
    ~FakeService() override { QDBusConnection::disconnectFromBus(m_name); }

    QStringList capabilities;
    bool isMute = false; ///< Leaves Notify unanswered.
    QList<Call> calls;
    QList<QDBusMessage> unanswered;

    [[nodiscard]] QList<Call> titled(const QString &title) const
    {
        QList<Call> found = calls;
        found.removeIf([&](const Call &call) { return call.title != title; });
        return found;
    }

    void answer()
    {
        isMute = false;
        for (const QDBusMessage &question : std::exchange(unanswered, {}))
            QDBusConnection(m_name).send(
                question.createReply(titled(question.arguments().at(3).toString()).constLast().number));
    }

public Q_SLOTS:
    QStringList GetCapabilities() { return capabilities; }
    uint Notify(const QString &application, uint replaces, const QString &icon, const QString &title,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int expireTimeout)
    {
        const uint number = replaces ? replaces : ++m_lastNumber;
        calls.append({application, replaces, icon, title, body, actions, hints, expireTimeout, number});
        if (isMute) {
            setDelayedReply(true);
            unanswered.append(message());
        }
        return number;
    }

Q_SIGNALS:
    void ActionInvoked(uint number, const QString &action);
    void NotificationClosed(uint number, uint reason);

private:
    QString m_name;
    uint m_lastNumber = 100;
};

struct NotifierTest : testing::Test
{
    PrivateBus bus;
    std::unique_ptr<FakeService> fake = std::make_unique<FakeService>();
    NotificationService service;

    void post(const QString &identifier, const QString &body = {}) { service.post({identifier, identifier, body}); }

    [[nodiscard]] bool arrives(const QString &title, qsizetype times = 1) const
    {
        return QTest::qWaitFor([&] { return fake->titled(title).size() >= times; }, patientlyMs);
    }

    // A notification that replaces itself was answered in between, and all that the bus sent before has
    // arrived.
    void settle()
    {
        static int count = 0;
        const QString title = u"settle %1"_s.arg(++count);
        ASSERT_TRUE(QTest::qWaitFor(
            [&] {
                post(title);
                const auto calls = fake->titled(title);
                return !calls.isEmpty() && calls.constLast().replaces != 0;
            },
            patientlyMs));
    }
};

TEST_F(NotifierTest, ReplacesExactlyWhatIsStillOnShow)
{
    struct Case
    {
        const char *between;
        std::function<void()> happens;
        QString second;
        bool replaces;
    };
    const Case cases[] = {
        {"nothing happens", [] {}, u"line"_s, true},
        {"another line notifies", [] {}, u"other line"_s, false},
        {"somebody else's is closed", [&] { Q_EMIT fake->NotificationClosed(7, 2); }, u"line"_s, true},
        {"it is closed", [&] { Q_EMIT fake->NotificationClosed(fake->titled(u"line"_s).constLast().number, 2); },
         u"line"_s, false},
        {"the service restarts",
         [&] {
             fake.reset();
             fake = std::make_unique<FakeService>();
         },
         u"line"_s, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.between);
        post(u"line"_s);
        settle();
        const uint number = fake->titled(u"line"_s).constLast().number;
        c.happens();
        settle();
        const qsizetype before = fake->titled(c.second).size();
        post(c.second);
        ASSERT_TRUE(arrives(c.second, before + 1));
        EXPECT_EQ(fake->titled(c.second).constLast().replaces, c.replaces ? number : 0u);
        settle();
    }
}

TEST_F(NotifierTest, BodyIsEscapedOnlyForServicesThatTakeMarkup)
{
    const QString raw = u"<b>梅潮</b> & \"潮\""_s;
    const std::pair<QStringList, QString> cases[] = {
        {{u"body"_s, u"body-markup"_s}, u"&lt;b&gt;梅潮&lt;/b&gt; &amp; \"潮\""_s},
        {{u"body"_s, u"actions"_s}, raw},
    };
    for (const auto &[capabilities, body] : cases) {
        fake.reset(); // the next owner of the name is asked again
        fake = std::make_unique<FakeService>();
        fake->capabilities = capabilities;
        settle();
        Notifier notifier(std::make_unique<NotificationService>());
        EXPECT_TRUE(notifier.available());
        notifier.notify(raw, raw, u"approval-cc-1"_s);
        post(u"same service as before the restart"_s, raw);
        ASSERT_TRUE(arrives(raw));
        ASSERT_TRUE(arrives(u"same service as before the restart"_s));
        const FakeService::Call call = fake->titled(raw).constFirst();
        EXPECT_EQ(call.body, body);
        EXPECT_EQ(fake->titled(u"same service as before the restart"_s).constFirst().body, body);
        EXPECT_EQ(call.application, u"Plumtide"_s);
        EXPECT_EQ(call.icon, u"plumtide"_s);
        EXPECT_EQ(call.actions,
                  capabilities.contains(u"actions"_s) ? QStringList({u"default"_s, u"打开看板"_s}) : QStringList());
        EXPECT_EQ(call.expireTimeout, -1);
        EXPECT_EQ(call.hints.value(u"desktop-entry"_s), u"plumtide"_s);
        EXPECT_EQ(call.hints.value(u"sound-name"_s), u"message-new-instant"_s);
        EXPECT_EQ(call.hints.value(u"urgency"_s), QVariant::fromValue(uchar{1}));
    }
}

TEST_F(NotifierTest, AClickNamesTheLineOfANotificationOfOurs)
{
    auto handed = std::make_unique<NotificationService>();
    NotificationService &ours = *handed;
    Notifier notifier(std::move(handed));
    QStringList clicked;
    notifier.setActivated([&](const QString &id) { clicked.append(id); });
    fake->capabilities = {u"actions"_s};
    // The same one twice: the second takes the first one's place and number.
    for (const QString &identifier : {u"other"_s, u"line"_s, u"line"_s}) {
        const qsizetype before = fake->calls.size();
        notifier.notify(identifier, u"body"_s, identifier);
        ASSERT_TRUE(QTest::qWaitFor([&] { return fake->calls.size() > before; }, patientlyMs));
        ours.post({u"answered"_s, u"answered"_s, {}});
        ASSERT_TRUE(arrives(u"answered"_s, fake->titled(u"answered"_s).size() + 1));
    }
    const uint line = fake->titled(u"line"_s).constLast().number;
    const uint closed = fake->titled(u"other"_s).constLast().number;
    Q_EMIT fake->ActionInvoked(line + 1000, u"default"_s);
    Q_EMIT fake->ActionInvoked(0, u"default"_s);
    Q_EMIT fake->ActionInvoked(line, u"settings"_s);
    Q_EMIT fake->NotificationClosed(closed, 1);
    Q_EMIT fake->ActionInvoked(closed, u"default"_s);
    Q_EMIT fake->ActionInvoked(line, u"default"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !clicked.isEmpty(); }, patientlyMs));
    EXPECT_EQ(clicked, QStringList(u"line"_s));
}

TEST_F(NotifierTest, OfABurstTheNewestReplacesTheFirst)
{
    fake->isMute = true;
    post(u"line"_s, u"first"_s);
    ASSERT_TRUE(arrives(u"line"_s));
    for (const QString &body : {u"second"_s, u"third"_s, u"newest"_s})
        post(u"line"_s, body);
    post(u"other"_s);
    ASSERT_TRUE(arrives(u"other"_s));
    EXPECT_EQ(fake->titled(u"line"_s).size(), 1);

    fake->answer();
    ASSERT_TRUE(arrives(u"line"_s, 2));
    settle();
    const auto calls = fake->titled(u"line"_s);
    ASSERT_EQ(calls.size(), 2);
    EXPECT_EQ(calls[1].body, u"newest"_s);
    EXPECT_EQ(calls[1].replaces, calls[0].number);
}

TEST_F(NotifierTest, SilentServiceHoldsNothingUpAndIsForgottenInTheEnd)
{
    fake->isMute = true;
    NotificationService impatient(500ms);
    const auto postNow = [&](const QString &title, const QString &body) {
        QElapsedTimer time;
        time.start();
        impatient.post({title, title, body});
        EXPECT_LT(time.elapsed(), atOnceMs);
    };
    postNow(u"line"_s, u"first"_s);
    ASSERT_TRUE(arrives(u"line"_s));
    postNow(u"line"_s, u"second"_s);
    postNow(u"other"_s, {});
    ASSERT_TRUE(arrives(u"other"_s));
    ASSERT_TRUE(arrives(u"line"_s, 2)) << "the second must be sent once the first counts as lost";
    EXPECT_EQ(fake->titled(u"line"_s)[1].body, u"second"_s);
    EXPECT_EQ(fake->titled(u"line"_s)[1].replaces, 0u);
}

TEST_F(NotifierTest, SilentServiceCostsBoundedMemoryAndTheNewestAreKept)
{
    constexpr auto unanswered = NotificationService::unansweredCapacity;
    constexpr int posts = 1000;
    fake->isMute = true;
    for (int i = 1; i <= posts; ++i)
        post(u"%1"_s.arg(i));
    ASSERT_TRUE(QTest::qWaitFor([&] { return fake->calls.size() >= unanswered; }, patientlyMs));
    EXPECT_EQ(fake->calls.size(), unanswered);
    fake->answer();
    ASSERT_TRUE(arrives(u"%1"_s.arg(posts)));
    EXPECT_LE(fake->calls.size(), unanswered + static_cast<int>(NotificationService::identifierCapacity));
}

TEST_F(NotifierTest, ServiceAndBusMayComeLater)
{
    fake.reset();
    QDBusConnection observer = QDBusConnection::connectToBus(PrivateBus::address(), u"observer"_s);
    const auto closing = qScopeGuard([] { QDBusConnection::disconnectFromBus(u"observer"_s); });
    const auto names = [&] { return observer.interface()->registeredServiceNames().value().size(); };
    const qsizetype before = names();
    post(u"early"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return names() > before; }, patientlyMs));

    fake = std::make_unique<FakeService>();
    settle();

    fake.reset();
    bus.stop();
    post(u"between"_s);
    bus.start();
    fake = std::make_unique<FakeService>();
    settle();
}

TEST(NotificationService, BusesThatDoNotAnswerHoldNothingUp)
{
    QTemporaryDir directory;
    const QString path = directory.filePath(u"bus"_s);
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + QFile::encodeName(path));
    enum class Bus { None, Silent, Full, HangsUp };
    const std::pair<const char *, Bus> cases[] = {
        {"nobody listens", Bus::None},
        {"accepts and never speaks", Bus::Silent},
        {"accepts no more connections", Bus::Full},
        {"hangs up", Bus::HangsUp},
    };
    for (const auto &[name, bus] : cases) {
        SCOPED_TRACE(name);
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        std::strncpy(place.sun_path, QFile::encodeName(path).constData(), sizeof place.sun_path - 1);
        const auto *const to = reinterpret_cast<const sockaddr *>(&place);
        const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int filler = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        int accepted = -1;
        const auto closing = qScopeGuard([&] {
            for (const int descriptor : {listener, filler, accepted})
                ::close(descriptor);
            QFile::remove(path);
        });
        if (bus != Bus::None) {
            ASSERT_EQ(::bind(listener, to, sizeof place), 0);
            ASSERT_EQ(::listen(listener, 0), 0);
        }
        if (bus == Bus::Full) {
            ASSERT_EQ(::connect(filler, to, sizeof place), 0); // a queue of length 0 holds one
        }

        const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        if (bus != Bus::HangsUp) { // that takes somebody who does it
            SessionBus::disableMute(100ms);
            EXPECT_EQ(qgetenv("DBUS_SESSION_BUS_ADDRESS"), bus == Bus::None ? address : "disabled:");
            qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        }
        if (bus == Bus::Silent)
            ::close(::accept(listener, nullptr, nullptr));

        QElapsedTimer time;
        auto service = std::make_unique<NotificationService>();
        EXPECT_TRUE(service->isAvailable());
        time.start();
        service->post({u"line"_s, u"title"_s, u"body"_s});
        service->post({u"other"_s, u"title"_s, u"body"_s});
        EXPECT_LT(time.elapsed(), atOnceMs);
        if (bus == Bus::Silent || bus == Bus::HangsUp) {
            char greeting = 1;
            pollfd waiting{listener, POLLIN, 0};
            ASSERT_EQ(::poll(&waiting, 1, patientlyMs), 1);
            accepted = ::accept(listener, nullptr, nullptr);
            ASSERT_EQ(::recv(accepted, &greeting, 1, 0), 1); // so it is waiting for the answer now
            EXPECT_EQ(greeting, '\0');
        }
        if (bus == Bus::HangsUp)
            ::shutdown(accepted, SHUT_RDWR);
        time.start();
        service.reset();
        EXPECT_LT(time.elapsed(), 500);
    }
}

TEST(NotificationService, IsAvailableWhereABusCanBeNamed)
{
    QTemporaryDir withSocket, withFile, empty;
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto closing = qScopeGuard([listener] { ::close(listener); });
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    std::strncpy(place.sun_path, QFile::encodeName(withSocket.filePath(u"bus"_s)).constData(),
                 sizeof place.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr *>(&place), sizeof place), 0);
    QFile file(withFile.filePath(u"bus"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));

    struct Case
    {
        const char *name;
        QByteArray address;
        QString runtimeDir;
        bool isAvailable;
    };
    const Case cases[] = {
        {"address with a path", "unix:path=/run/user/1000/bus,guid=0123", empty.path(), true},
        {"abstract address", "unix:abstract=/tmp/dbus-x", empty.path(), true},
        {"several addresses", "unix:path=/run/a;unix:path=/run/b", empty.path(), true},
        {"several, one of which would start a bus", "unix:path=/run/a;autolaunch:", empty.path(), false},
        {"address switched off", "disabled:", withSocket.path(), false},
        {"address that would start a bus", "autolaunch:", withSocket.path(), false},
        {"path longer than the system allows", "unix:path=/" + QByteArray(200, 'x'), empty.path(), false},
        {"no address, socket in the runtime directory", "", withSocket.path(), true},
        {"no address, plain file there", "", withFile.path(), false},
        {"no address, nothing there", "", empty.path(), false},
        {"nothing set", "", {}, false},
    };
    const QByteArray oldAddress = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray oldRuntimeDir = qgetenv("XDG_RUNTIME_DIR");
    for (const Case &c : cases) {
        qputenv("DBUS_SESSION_BUS_ADDRESS", c.address);
        qputenv("XDG_RUNTIME_DIR", c.runtimeDir.toUtf8());
        EXPECT_EQ(NotificationService().isAvailable(), c.isAvailable) << c.name;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", oldAddress);
    qputenv("XDG_RUNTIME_DIR", oldRuntimeDir);
}

} // namespace

#include "NotifierTest.moc"
