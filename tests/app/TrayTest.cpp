#include "Plumtide/app/TrayIcon.h"
#include "Plumtide/app/TrayItem.h"
#include "Plumtide/desktop/TrayHost.h"

#include "tests/app/PrivateBus.h"
#include "tests/support/TestHome.h"

#include <QDBusConnection>
#include <QImage>
#include <QPixmap>
#include <QSignalSpy>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString watcherName = u"org.kde.StatusNotifierWatcher"_s;

/// The name of a desktop's tray, on a connection of its own.
class Watcher
{
public:
    Watcher() : m_connection(QDBusConnection::connectToBus(PrivateBus::address(), u"watcher"_s))
    {
        EXPECT_TRUE(m_connection.registerService(watcherName));
    }
    ~Watcher() { QDBusConnection::disconnectFromBus(u"watcher"_s); }

private:
    QDBusConnection m_connection;
};

} // namespace

// One test, since Qt connects to the session bus once in a process.
TEST(TrayHost, FindsTheWatcherWheneverItComesAndSaysSoOnce)
{
    const PrivateBus bus;
    TrayHost early(0ms);
    QSignalSpy foundEarly(&early, &TrayHost::found);
    early.start();
    EXPECT_FALSE(foundEarly.wait(300)) << "there is nothing to be found yet";

    auto watcher = std::make_unique<Watcher>();
    ASSERT_TRUE(foundEarly.count() || foundEarly.wait());
    EXPECT_EQ(foundEarly.constFirst().constFirst().value<TrayHost::Kind>(), TrayHost::Kind::StatusNotifier);

    TrayHost late(0ms);
    QSignalSpy foundLate(&late, &TrayHost::found);
    late.start();
    EXPECT_TRUE(foundLate.wait());
    watcher.reset(); // the panel restarts
    watcher = std::make_unique<Watcher>();
    TrayHost after(0ms);
    QSignalSpy foundAfter(&after, &TrayHost::found);
    after.start();
    EXPECT_TRUE(foundAfter.wait());
    EXPECT_EQ(foundEarly.count(), 1);
    EXPECT_EQ(foundLate.count(), 1);
}

TEST(TrayItem, TellsTheExactNumberInWords)
{
    EXPECT_EQ(TrayItem::toolTip(0), u"Plumtide"_s);
    EXPECT_EQ(TrayItem::toolTip(1), u"Plumtide：1 条等你处理"_s);
    EXPECT_EQ(TrayItem::toolTip(123), u"Plumtide：123 条等你处理"_s);
}

TEST(TrayIcon, ShowsTheNumberAtEverySize)
{
    const QIcon icons[] = {trayIcon(0), trayIcon(3), trayIcon(12), trayIcon(100), trayIcon(5000)};
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        SCOPED_TRACE(size);
        QList<QImage> images;
        for (const QIcon &icon : icons) {
            EXPECT_TRUE(icon.availableSizes().contains(QSize(size, size)));
            images.append(icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32));
            ASSERT_EQ(images.last().size(), QSize(size, size));
        }
        const auto count = [](const QImage &image, const std::function<bool(QColor)> &is) {
            int pixels = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    pixels += is(image.pixelColor(x, y));
            return pixels;
        };
        const auto isBadge = [](QColor color) { return color.alpha() > 200 && color.saturation() > 100; };
        const auto isGlyph = [](QColor color) { return color.alpha() > 200 && color.saturation() < 10; };
        EXPECT_EQ(count(images[0], isBadge), 0);
        for (const qsizetype withBadge : {1, 2, 3}) {
            EXPECT_GT(count(images[withBadge], isBadge), size * size / 12);
            EXPECT_GT(count(images[withBadge], isGlyph), size * size / 10) << "the people must stay in sight";
        }
        EXPECT_NE(images[1], images[2]);
        EXPECT_NE(images[2], images[3]);
        EXPECT_EQ(images[3], images[4]);
    }
}
