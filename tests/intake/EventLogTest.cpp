#include "Plumtide/intake/EventWatcher.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"

#include <malloc.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QByteArray line(int number, qsizetype padding = 0)
{
    return "{\"session_id\":\"" + QByteArray::number(number) + "\"" + QByteArray(padding, ' ') + "}\n";
}

class EventLogTest : public testing::Test
{
protected:
    void write(const QByteArray &content, QIODevice::OpenMode how) const { m_home.write(u"log"_s, content, how); }
    void append(const QByteArray &content) const { write(content, QIODevice::Append); }
    void setOffset(double value) const { m_defaults->setNumber(u"tavvel.events.offset"_s, value); }
    qint64 offset() const { return qRound64(m_home.defaults()->number(u"tavvel.events.offset"_s).value_or(0)); }
    qint64 size() const { return QFileInfo(m_path).size(); }

    const TestHome m_home;
    const QString m_path = m_home.path(u"log"_s);
    const std::shared_ptr<Defaults> m_defaults = m_home.defaults();
    QStringList m_ids;
    std::atomic<int> m_last = -1;
    const EventLog::OnEvent m_receive = [this](const HookEvent &event) {
        m_ids.append(event.sessionId.value_or(u"-"_s));
        m_last = m_ids.last().toInt();
    };
    EventLog m_log{m_path, m_defaults, m_receive};
};

} // namespace

TEST_F(EventLogTest, EveryWholeLineIsHandedOverOnceAndNoneBeforeItsLineFeed)
{
    const QByteArray longLine = line(3, 3'000'000);
    const QByteArray broken = "\n\n{\n{\"session_id\":5}\n" + QByteArray("\0\xff\n", 3) + QByteArray(9999, '[') + "\n";
    // Whether it is appended, what is handed over, and how many bytes stay unread.
    const std::tuple<bool, QByteArray, QString, qint64> rows[] = {
        {true, line(1) + line(2) + "{\"session_id\"", u"1 2"_s, 13},
        {true, ":\"3\"}", u""_s, 18},
        {true, "\n", u"3"_s, 0},
        {true, line(1) + broken + line(2), u"1 2"_s, 0},
        {true, longLine.chopped(1), u""_s, longLine.size() - 1},
        {true, "\n" + line(4), u"3 4"_s, 0},
        {true, line(5, 17 << 20) + line(6), u"6"_s, 0},            // too long
        {false, line(1) + line(2) + line(3), u"1 2 3"_s, 0},       // a shorter log is a new one
        {false, line(4) + line(5) + line(6) + line(7), u"7"_s, 0}, // a longer one is taken for the same
        {false, "", u""_s, -4 * line(4).size()},                   // an empty one says nothing yet
        {true, line(1), u"1"_s, 0},
    };
    m_log.readNewLines(); // there is no log yet
    ::mkfifo(qPrintable(m_path), 0600);
    m_log.readNewLines(); // would block for ever when opened carelessly
    QFile::remove(m_path);
    const auto bytesInUse = [] { return ::mallinfo2().uordblks + ::mallinfo2().hblkhd; };
    const size_t before = bytesInUse();
    for (const auto &[isAppended, content, read, left] : rows) {
        write(content, isAppended ? QIODevice::Append : QIODevice::Truncate);
        m_ids.clear();
        m_log.readNewLines();
        EXPECT_EQ(m_ids.join(u' '), read);
        EXPECT_EQ(offset(), size() - left) << qPrintable(read);
    }
    EXPECT_LT(bytesInUse(), before + 1'000'000); // what a long line costs ends with it
}

TEST_F(EventLogTest, DefaultsThatCannotBeReadAreKeptAndDoNotLeadToTheWholeLogBeingAppliedAgain)
{
    m_home.write(u".config/plumtide/plumtide.conf"_s, QByteArray(2 << 20, 'x')); // too large
    append(line(1));
    int received = 0;
    EventLog log(m_path, m_defaults, [&](const HookEvent &) { ++received; });
    testing::internal::CaptureStderr();
    log.readNewLines();
    append(line(2));
    log.readNewLines();
    EXPECT_EQ(received, 1);
    EXPECT_EQ(QString::fromStdString(testing::internal::GetCapturedStderr()).count(u'\n'), 1);
    EXPECT_EQ(m_home.read(u".config/plumtide/plumtide.conf"_s).size(), 2 << 20);
}

TEST_F(EventLogTest, ThePositionIsStoredBeforeTheLinesOfABlockAreHandedOver)
{
    int count = 0;
    EventLog log(m_path, m_defaults, [&](const HookEvent &event) {
        EXPECT_EQ(event.sessionId, QString::number(1000 + count++));
        EXPECT_GE(offset(), count * line(1000, 80).size()) << "applied twice after a kill";
        EXPECT_LE(offset(), count * line(1000, 80).size() + 64 * 1024) << "too many are lost by a kill";
    });
    for (int i = 1000; i < 3000; ++i)
        append(line(i, 80));
    log.readNewLines();
    for (const double noPosition : {0.0, 1e9, -5.0, 1e300}) {
        EXPECT_EQ(std::exchange(count, 0), 2000);
        setOffset(noPosition);
        log.readNewLines();
    }
    EXPECT_EQ(count, 2000);
}

TEST_F(EventLogTest, OnlyALargeLogThatWasReadToItsEndAndThatNobodyHoldsIsEmptied)
{
    const std::tuple<int, int, bool, bool> rows[] = {{10'000'000, 10'000'000, false, false},
                                                     {10'000'001, 10'000'000, false, false},
                                                     {10'000'001, 10'000'002, false, false}, // another log's
                                                     {10'000'001, 10'000'001, true, false},
                                                     {10'000'001, 10'000'001, false, true}};
    for (const auto &[bytes, position, isHeld, isEmptied] : rows) {
        write(QByteArray(bytes, '\n'), QIODevice::Truncate);
        setOffset(position);
        QFile writer(m_path);
        EXPECT_TRUE(!isHeld || writer.open(QIODevice::Append));
        m_log.rotateIfNeeded();
        EXPECT_EQ(size(), isEmptied ? 0 : bytes) << bytes << ' ' << position << ' ' << isHeld;
        EXPECT_EQ(offset(), isEmptied ? 0 : position);
    }
}

TEST_F(EventLogTest, TheWatcherEmptiesTheLogAndFindsANewOneByItsPollAndFromThenOnWaitsForNone)
{
    EXPECT_EQ(EventWatcher::pollInterval, 5s);
    append(QByteArray(10'000'001, '\n'));
    setOffset(10'000'001);
    EventWatcher watcher(m_path, {}, m_defaults, {m_receive, {}, [] {}}, 1s);
    watcher.start();
    EXPECT_TRUE(waitUntil([&] { return size() == 0; }));
    QElapsedTimer sinceFound;
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(i % 10 != 0
                    || (i == 10 ? QFile::remove(m_path) : QFile::rename(m_path, m_path + QString::number(i))));
        append(line(i));
        EXPECT_TRUE(waitUntil([&] { return m_last == i; })) << i;
        if (i % 10 == 0)
            sinceFound.start();
        EXPECT_LT(sinceFound.elapsed(), 5000); // by the poll, it would be nine seconds
    }
    EXPECT_EQ(m_ids.size(), 30);
}

TEST_F(EventLogTest, ARecordIsReadAsSoonAsItIsWrittenReplacedOrGoneAlsoInAFolderThatComesLater)
{
    std::atomic<int> pid = 0;
    const auto onRecord = [&pid](const SessionRecord &, const SessionRecord &now) { pid = now.pid; };
    QDir().mkdir(m_home.path(u"claude"_s));
    EventWatcher watcher(m_path, m_home.path(u"claude/sessions"_s), m_defaults, {m_receive, onRecord, [] {}}, 1h);
    watcher.start();
    const QString record = u"claude/sessions/1.json"_s;
    for (int i = 1; i < 20; ++i) {
        m_home.write(i % 3 ? record : u"new"_s, R"({"sessionId":"s","pid":)" + QByteArray::number(i) + '}');
        ::rename(qPrintable(m_home.path(u"new"_s)), qPrintable(m_home.path(record))); // where there is a new one
        EXPECT_TRUE(waitUntil([&] { return pid == i; })) << i;
        EXPECT_TRUE(i % 5 || QFile::remove(m_home.path(record)));
        EXPECT_TRUE(waitUntil([&] { return pid == (i % 5 ? i : 0); })) << i;
    }
    QDir(m_home.path(u"claude/sessions"_s)).removeRecursively();
    EXPECT_TRUE(waitUntil([&] { return pid == 0; }));
}
