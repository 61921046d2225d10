#include "Plumtide/intake/ClaudeRecords.h"
#include "Plumtide/intake/EventWatcher.h"

#include "tests/support/TestHome.h"

#include <sys/resource.h>
#include <sys/stat.h>

using namespace std::chrono_literals;

namespace {

QByteArray line(int number, qsizetype padding = 0)
{
    return "{\"session_id\":\"" + QByteArray::number(number) + "\"" + QByteArray(padding, ' ') + "}\n";
}

class EventLogTest : public testing::Test
{
protected:
    qint64 size() const { return QFileInfo(m_path).size(); }

    const TestHome m_home;
    const QString m_path = m_home.path("log");
    QStringList m_ids;
    std::atomic<int> m_last = -1;
    qint64 m_offset = 0;
    const EventLog::OnEvent m_receive = [this](const std::optional<HookEvent> &event, qint64 position) {
        m_offset = position;
        if (event)
            m_last = (m_ids << event->sessionId.value_or("-")).last().toInt();
    };
    EventLog m_log{m_path, 0, m_receive};
};

} // namespace

TEST_F(EventLogTest, EachCompleteLineIsReportedOnce)
{
    const QByteArray longLine = line(3, 3'000'000);
    // Other types, an escape that JSON does not know, nothing, no JSON, and what is too deep.
    QByteArray broken =
        R"({"session_id":5} {"prompt":1} {"tool_input":"ls"} {"tavvel_ts":"1"} {"prompt":"12345\q"}   { )";
    broken = broken.replace(' ', '\n') + QByteArray("\0\xff\n", 3) + QByteArray(9999, '[') + "\n";
    // Whether it is appended, what is handed over, and how many bytes stay unread.
    const std::tuple<bool, QByteArray, QString, qint64> rows[] = {
        {true, line(1) + line(2) + "{\"session_id\"", "1 2", 13},
        {true, ":\"3\"}", "", 18},
        {true, "\n", "3", 0},
        {true, line(1) + broken + line(2), "1 2", 0},
        {true, longLine.chopped(1), "", longLine.size() - 1},
        {true, "\n" + line(4), "3 4", 0},
        {true, line(5, 17 << 20) + line(6), "6", 0},      // too long
        {false, line(1) + line(2) + line(3), "1 2 3", 0}, // a shorter log is a new one
        {false, "", "", -3 * line(3).size()},             // an empty one says nothing yet
        {true, line(1), "1", 0},
    };
    m_log.readNewLines(); // there is no log yet
    ::mkfifo(qPrintable(m_path), 0600);
    m_log.readNewLines(); // would block for ever when opened carelessly
    QFile::remove(m_path);
    for (const auto &[isAppended, content, read, left] : rows) {
        m_home.write("log", content, isAppended ? QIODevice::Append : QIODevice::Truncate);
        m_ids.clear();
        m_log.readNewLines();
        EXPECT_EQ(m_ids.join(' '), read);
        EXPECT_EQ(m_offset, size() - left);
    }
}

TEST_F(EventLogTest, OnlyALargeLogThatWasReadAndIsNotOpenIsEmptied)
{
    constexpr int large = 10'000'001;
    // The log's bytes, those that were read, and whether somebody has it open; only the last one is emptied.
    const std::tuple<int, int, bool> rows[] = {
        {large - 1, large - 1, false}, {large, large - 1, false}, {large, large, true}, {large, large, false}};
    for (const auto &[bytes, position, isHeld] : rows) {
        m_home.write("log", QByteArray(bytes, '\n'));
        m_offset = position;
        QFile writer(m_path);
        EXPECT_TRUE(!isHeld || writer.open(QIODevice::Append));
        EventLog(m_path, position, m_receive).rotateIfNeeded();
        const bool isEmptied = position == large && !isHeld;
        EXPECT_EQ(size(), isEmptied ? 0 : bytes);
        EXPECT_EQ(m_offset, isEmptied ? 0 : position);
    }
}

TEST_F(EventLogTest, TheWatcherEmptiesTheLogAndFollowsItsSuccessors)
{
    m_home.append("log", QByteArray(10'000'001, '\n'));
    EventWatcher watcher(m_path, 10'000'001, {}, {m_receive, [] {}}, 1s);
    watcher.start();
    EXPECT_TRUE(waitUntil([&] { return size() == 0; }));
    QElapsedTimer sinceFound;
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(i % 10 != 0
                    || (i == 10 ? QFile::remove(m_path) : QFile::rename(m_path, m_path + QString::number(i))));
        m_home.append("log", line(i));
        EXPECT_TRUE(waitUntil([&] { return m_last == i; })) << i;
        if (i % 10 == 0)
            sinceFound.start();
        EXPECT_LT(sinceFound.elapsed(), 5000); // by the poll, it would be nine seconds
    }
    EXPECT_EQ(m_ids.size(), 30);
}

TEST_F(EventLogTest, AWatcherThatGotNoDescriptorFindsEventsByItsPollAndEnds)
{
    m_home.append("log", line(1));
    rlimit files = {};
    ::getrlimit(RLIMIT_NOFILE, &files);
    const rlimit none{0, files.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    EventWatcher watcher(m_path, 0, {}, {m_receive, [] {}}, 10ms);
    ::setrlimit(RLIMIT_NOFILE, &files);
    watcher.start();
    EXPECT_TRUE(waitUntil([&] { return m_last == 1; }));
}

TEST_F(EventLogTest, ARecordIsReadWhenItIsWrittenReplacedOrRemoved)
{
    std::atomic<int> pid = 0;
    const auto onRecord = [&pid](const SessionRecord &, const SessionRecord &now) { pid = now.pid; };
    QDir().mkdir(m_home.path("claude"));
    SessionFollowers records;
    records.push_back(std::make_unique<ClaudeRecords>(m_home.path("claude/sessions"), onRecord));
    EventWatcher watcher(m_path, 0, std::move(records), {m_receive, [] {}}, 1h);
    watcher.start();
    const QString record = "claude/sessions/1.json";
    for (int i = 1; i < 9; ++i) {
        m_home.write(i % 3 ? record : "new", R"({"sessionId":"s","pid":)" + QByteArray::number(i) + '}');
        ::rename(qPrintable(m_home.path("new")), qPrintable(m_home.path(record))); // where there is a new one
        EXPECT_TRUE(waitUntil([&] { return pid == i; })) << i;
    }
    QDir(m_home.path("claude/sessions")).removeRecursively();
    EXPECT_TRUE(waitUntil([&] { return pid == 0; }));
}
