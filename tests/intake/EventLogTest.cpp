#include "Plumtide/intake/EventLog.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"
#include "tests/support/Unprivileged.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

class EventLogTest : public testing::Test
{
protected:
    static QByteArray line(int number) { return "{\"session_id\":\"" + QByteArray::number(number) + "\"}\n"; }

    double offset() const { return m_defaults->number(u"tavvel.events.offset"_s).value_or(-1); }
    void setOffset(double value) const { m_defaults->setNumber(u"tavvel.events.offset"_s, value); }

    // The session ids of what is new, joined: "1 2".
    QString readNow()
    {
        m_ids.clear();
        m_log.readNewLines();
        return m_ids.join(u' ');
    }

    TestHome m_home;
    std::shared_ptr<Defaults> m_defaults = m_home.defaults();
    QStringList m_ids;
    const QString m_name = u"events.jsonl"_s;
    EventLog m_log{m_home.path(m_name), m_defaults,
                   [this](const HookEvent &event) { m_ids.append(event.sessionId.value_or(u"-"_s)); }};
};

} // namespace

TEST_F(EventLogTest, HalfWrittenLastLineWaitsForItsLineFeed)
{
    EXPECT_EQ(readNow(), u""_s); // no log yet
    m_home.append(m_name, line(1) + line(2) + "{\"session_id\"");
    EXPECT_EQ(readNow(), u"1 2"_s);
    EXPECT_EQ(offset(), (line(1) + line(2)).size());
    EXPECT_EQ(readNow(), u""_s);
    m_home.append(m_name, ":\"3\"}");
    EXPECT_EQ(readNow(), u""_s);
    m_home.append(m_name, "\n");
    EXPECT_EQ(readNow(), u"3"_s);
    EXPECT_EQ(readNow(), u""_s);
}

TEST_F(EventLogTest, BlankAndBrokenLinesAreStepsOnTheWay)
{
    m_home.write(m_name,
                 "\n" + line(1) + "\n\n" + "not json\n" + "{\"session_id\":5}\n" + QByteArray("\0\xff\n", 3)
                     + QByteArray(100'000, '[') + "\n" + line(2));
    EXPECT_EQ(readNow(), u"1 2"_s);
    EXPECT_EQ(offset(), QFileInfo(m_home.path(m_name)).size());
}

TEST_F(EventLogTest, GoesOnWhereAnEarlierRunStopped)
{
    m_home.write(m_name, line(1) + line(2));
    setOffset(static_cast<double>(line(1).size()));
    EXPECT_EQ(readNow(), u"2"_s);

    for (const double unusable : {-5.0, 0.0, 1e300}) {
        setOffset(unusable);
        m_ids.clear();
        EXPECT_EQ(readNow(), u"1 2"_s) << unusable;
    }
}

TEST_F(EventLogTest, ShortenedAndReplacedLogs)
{
    m_home.write(m_name, line(1) + line(2) + line(3));
    readNow();
    const double end = offset();
    m_home.write(m_name, "");
    EXPECT_EQ(readNow(), u""_s);
    EXPECT_EQ(offset(), end); // an empty log says nothing yet
    m_home.append(m_name, line(4));
    EXPECT_EQ(readNow(), u"4"_s);
    m_home.write(m_name, line(5) + line(6) + line(7));
    EXPECT_EQ(readNow(), u"6 7"_s); // a longer one is taken for the same log
}

TEST_F(EventLogTest, LongAndUnfinishedLinesNeedNoMemory)
{
    // Longer than the longest line that is looked at, without its line feed at first, then with it.
    m_home.write(m_name, line(1) + "{\"prompt\":\"" + QByteArray(EventLog::longestLineBytes, 'x'));
    EXPECT_EQ(readNow(), u"1"_s);
    EXPECT_EQ(offset(), line(1).size());
    m_home.append(m_name, QByteArray(1000, 'x'));
    EXPECT_EQ(readNow(), u""_s);
    m_home.append(m_name, "\"}\n" + line(2));
    EXPECT_EQ(readNow(), u"2"_s);

    // Longer than a block, but not too long.
    const QByteArray longLine =
        "{\"session_id\":\"3\",\"prompt\":\"" + QByteArray(3 * EventLog::blockBytes, 'x') + "\"}";
    m_home.append(m_name, longLine);
    EXPECT_EQ(readNow(), u""_s);
    m_home.append(m_name, "\n" + line(4));
    EXPECT_EQ(readNow(), u"3 4"_s);

    // What was learnt of an unfinished line does not hold for the log that takes its place.
    m_home.append(m_name, "{\"unfinished\":\"" + QByteArray(2 * EventLog::blockBytes, 'x'));
    readNow();
    const QByteArray filler(static_cast<qsizetype>(offset()) - 1, 'y');
    ASSERT_TRUE(QFile::remove(m_home.path(m_name)));
    m_home.write(m_name, filler + "\n" + line(5) + line(6));
    EXPECT_EQ(readNow(), u"5 6"_s);
}

TEST_F(EventLogTest, ManyBlocksArriveInOrder)
{
    constexpr int count = 40'000; // several blocks
    QByteArray content;
    QStringList expected;
    for (int i = 0; i < count; ++i) {
        content += line(i);
        expected.append(QString::number(i));
    }
    ASSERT_GT(content.size(), 3 * EventLog::blockBytes);
    m_home.write(m_name, content);
    EXPECT_EQ(readNow(), expected.join(u' '));
}

TEST_F(EventLogTest, WhatIsNoFileOrCannotBeReadIsTriedAgain)
{
    const QByteArray path = QFile::encodeName(m_home.path(m_name));
    ASSERT_EQ(::mkfifo(path.constData(), 0600), 0); // would block for ever when opened carelessly
    EXPECT_EQ(readNow(), u""_s);
    m_log.rotateIfNeeded();
    ASSERT_EQ(::unlink(path.constData()), 0);
    ASSERT_EQ(::mkdir(path.constData(), 0700), 0);
    EXPECT_EQ(readNow(), u""_s);
    m_log.rotateIfNeeded();
    ASSERT_EQ(::rmdir(path.constData()), 0);
    m_home.write(m_name, line(1));
    ::chmod(path.constData(), 0000);
    {
        const Unprivileged ordinaryUser;
        EXPECT_EQ(readNow(), u""_s);
    }
    EXPECT_EQ(readNow(), u"1"_s);
}

TEST_F(EventLogTest, OnlyALargeLogThatWasReadToItsEndIsEmptied)
{
    const auto fill = [this](qint64 bytes) {
        m_home.write(m_name, QByteArray(bytes - line(1).size(), '\n') + line(1));
        setOffset(static_cast<double>(bytes));
    };
    const auto size = [this] { return QFileInfo(m_home.path(m_name)).size(); };

    fill(EventLog::rotateAboveBytes);
    m_log.rotateIfNeeded();
    EXPECT_EQ(size(), EventLog::rotateAboveBytes);

    fill(EventLog::rotateAboveBytes + 1);
    m_home.append(m_name, line(2));
    m_log.rotateIfNeeded();
    EXPECT_GT(size(), EventLog::rotateAboveBytes);
    EXPECT_EQ(readNow(), u"2"_s);

    // Another log in its place, shorter than the position, has not been read at all.
    fill(EventLog::rotateAboveBytes + 1);
    setOffset(static_cast<double>(EventLog::rotateAboveBytes + 100));
    m_log.rotateIfNeeded();
    EXPECT_EQ(readNow(), u"1"_s);

    m_log.rotateIfNeeded();
    EXPECT_EQ(size(), 0);
    EXPECT_EQ(offset(), 0);
    m_home.append(m_name, line(3));
    EXPECT_EQ(readNow(), u"3"_s);
}

TEST_F(EventLogTest, ALogThatAWriterHoldsOpenIsNotEmptied)
{
    m_home.write(m_name, QByteArray(EventLog::rotateAboveBytes + 1, '\n'));
    setOffset(EventLog::rotateAboveBytes + 1);
    const int writer = ::open(QFile::encodeName(m_home.path(m_name)).constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
    m_log.rotateIfNeeded();
    ASSERT_EQ(::write(writer, line(1).constData(), static_cast<size_t>(line(1).size())), line(1).size());
    ::close(writer);
    EXPECT_EQ(readNow(), u"1"_s);
    m_log.rotateIfNeeded();
    EXPECT_EQ(QFileInfo(m_home.path(m_name)).size(), 0);
}

TEST_F(EventLogTest, EmptyingLosesNoLineOfABusyLog)
{
    // A writer that opens, appends and closes as the hooks do, while the log is emptied over and over.
    constexpr int count = 3000;
    std::atomic<bool> isDone = false;
    std::thread writer([&] {
        const QByteArray path = QFile::encodeName(m_home.path(m_name));
        for (int i = 0; i < count; ++i) {
            const int log = ::open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
            [[maybe_unused]] const auto written =
                ::write(log, line(i).constData(), static_cast<size_t>(line(i).size()));
            ::close(log);
        }
        isDone = true;
    });
    // Blank lines make it large; they are appended as one write, too.
    const QByteArray filler(EventLog::rotateAboveBytes + 1, '\n');
    int emptied = 0;
    for (int round = 0; !isDone || round < 3; ++round) {
        m_home.append(m_name, filler);
        m_log.readNewLines();
        m_log.rotateIfNeeded();
        emptied += offset() == 0 ? 1 : 0;
    }
    writer.join();
    m_log.readNewLines();
    EXPECT_EQ(m_ids.size(), count);
    EXPECT_GT(emptied, 0);
}
