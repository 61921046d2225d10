#include "Plumtide/intake/EventWatcher.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"

#include <condition_variable>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// What the watcher's thread has handed over, for the test's thread to wait for.
class Received
{
public:
    void add(const HookEvent &event)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_ids.append(event.sessionId.value_or(u"-"_s));
        }
        m_changed.notify_all();
    }

    // Waits until `count` events are there, and returns them all.
    QString waitFor(qsizetype count, std::chrono::milliseconds patience)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, patience, [&] { return m_ids.size() >= count; });
        return m_ids.join(u' ');
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    QStringList m_ids;
};

class EventWatcherTest : public testing::Test
{
protected:
    static QByteArray line(int number) { return "{\"session_id\":\"" + QByteArray::number(number) + "\"}\n"; }

    // Below the poll's interval: what arrives in this time was reported by the system.
    static constexpr auto atOnce = 3500ms;
    // With the poll: what arrives in this time was not lost.
    static constexpr auto withPoll = 12'000ms;

    TestHome m_home;
    const QString m_name = u".tavvel/events.jsonl"_s;
    const QString m_path = m_home.path(m_name);
    Received m_received;
    EventWatcher m_watcher{m_path, m_home.defaults(), [this](const HookEvent &event) { m_received.add(event); }};
};

} // namespace

TEST_F(EventWatcherTest, AppendedLinesArriveAtOnceAndInOrder)
{
    m_home.write(m_name, line(1));
    m_watcher.start();
    EXPECT_EQ(m_received.waitFor(1, atOnce), u"1"_s);
    for (int i = 2; i <= 5; ++i) {
        m_home.append(m_name, line(i));
        EXPECT_EQ(m_received.waitFor(i, atOnce).section(u' ', -1), QString::number(i));
    }
}

TEST_F(EventWatcherTest, FindsALogThatTakesThePlaceOfAFolder)
{
    ASSERT_TRUE(QDir().mkpath(m_path));
    m_watcher.start();
    ASSERT_TRUE(QDir().rmdir(m_path));
    m_home.write(m_name, line(1));
    EXPECT_EQ(m_received.waitFor(1, withPoll), u"1"_s);
    // Attached by now, so the system reports the next one.
    m_home.append(m_name, line(2));
    EXPECT_EQ(m_received.waitFor(2, atOnce), u"1 2"_s);
}

TEST_F(EventWatcherTest, ADeletedAndReplacedLogIsFollowedAgain)
{
    m_home.write(m_name, line(1) + line(2));
    m_watcher.start();
    m_received.waitFor(2, atOnce);
    // Somebody else holds the deleted file open: then it is not reported as deleted.
    const int holder = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_TRUE(QFile::remove(m_path));
    m_home.write(m_name, line(3));
    EXPECT_EQ(m_received.waitFor(3, withPoll), u"1 2 3"_s);
    ::close(holder);
    m_home.append(m_name, line(4));
    EXPECT_EQ(m_received.waitFor(4, atOnce), u"1 2 3 4"_s);

    // By a rename over it; the new one is longer, so it goes on at the old position.
    m_home.write(u"other"_s, line(5) + line(6) + line(7));
    ASSERT_EQ(::rename(QFile::encodeName(m_home.path(u"other"_s)).constData(), QFile::encodeName(m_path).constData()),
              0);
    EXPECT_EQ(m_received.waitFor(5, withPoll), u"1 2 3 4 7"_s);
    m_home.append(m_name, line(8));
    EXPECT_EQ(m_received.waitFor(6, atOnce), u"1 2 3 4 7 8"_s);
}

TEST_F(EventWatcherTest, StoppingHandsOverAllThatWasTaken)
{
    constexpr int count = 50'000;
    QByteArray content;
    for (int i = 0; i < count; ++i)
        content += line(i);
    m_home.write(m_name, content);
    std::atomic<bool> hasBegun = false;
    std::atomic<bool> mayGoOn = false;
    std::atomic<int> received = 0;
    EventWatcher watcher(m_path, m_home.defaults(), [&](const HookEvent &) {
        hasBegun = true;
        while (!mayGoOn)
            std::this_thread::yield();
        ++received;
    });
    watcher.start();
    ASSERT_TRUE(waitUntil([&] { return hasBegun.load(); }));
    std::thread stopper([&] { watcher.stop(); });
    std::this_thread::sleep_for(50ms); // it is asked to stop while it hands over its first event
    mayGoOn = true;
    stopper.join();
    const auto offset = static_cast<qint64>(m_home.defaults()->number(u"tavvel.events.offset"_s).value_or(0));
    EXPECT_EQ(received, content.first(offset).count('\n'));
    EXPECT_LT(offset, content.size());
}

TEST_F(EventWatcherTest, HearsTheNextLineAfterReportsWereLost)
{
    QFile limit(u"/proc/sys/fs/inotify/max_queued_events"_s);
    ASSERT_TRUE(limit.open(QIODevice::ReadOnly));
    const int capacity = limit.readAll().trimmed().toInt();
    if (capacity > 100'000)
        GTEST_SKIP() << "the system's queue is too long to fill";

    m_home.write(m_name, line(1));
    std::atomic<bool> mayGoOn = false;
    EventWatcher watcher(m_path, m_home.defaults(), [&](const HookEvent &event) {
        while (event.sessionId == u"1"_s && !mayGoOn)
            std::this_thread::yield(); // nobody reads the reports meanwhile
        m_received.add(event);
    });
    watcher.start();
    ASSERT_TRUE(waitUntil([&] { return m_home.defaults()->number(u"tavvel.events.offset"_s).has_value(); }));
    // Different kinds in turn, since equal neighbours are merged.
    const int log = ::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
    for (int i = 0; i < capacity; ++i) {
        ASSERT_EQ(::write(log, "\n", 1), 1);
        ::fchmod(log, i % 2 == 0 ? 0600 : 0640);
    }
    ::close(log);
    m_home.append(m_name, line(2));
    mayGoOn = true;
    EXPECT_EQ(m_received.waitFor(2, atOnce), u"1 2"_s);
    m_home.append(m_name, line(3));
    EXPECT_EQ(m_received.waitFor(3, atOnce), u"1 2 3"_s);
}
