#include "tests/store/StoreFixture.h"

using namespace Qt::StringLiterals;

namespace {

class SweepTest : public StoreFixture
{
protected:
    void addLine(const QString &id, AgentTaskStatus status, int minutesAgo)
    {
        QList<AgentTask> lines = store().tasks();
        AgentTask line;
        line.id = id;
        line.project = u"shop"_s;
        line.status = status;
        line.updatedAt = m_home.now.addSecs(-60LL * minutesAgo);
        lines.append(line);
        store().setTasks(lines);
    }

    void addRecord(const QByteArray &name, const QByteArray &content)
    {
        m_home.write(u".claude/sessions/"_s + QString::fromUtf8(name), content);
    }

    static constexpr auto running = AgentTaskStatus::running;
    static constexpr auto waiting = AgentTaskStatus::waiting;
    static constexpr auto done = AgentTaskStatus::done;
};

} // namespace

TEST_F(SweepTest, WarnsOnceOfEachSilenceOfHalfAnHour)
{
    addLine(u"cc-S"_s, running, 30);
    addLine(u"manual"_s, running, 600);
    store().sweep();
    EXPECT_TRUE(m_notifications.isEmpty());
    waitMinutes(1);
    store().sweep();
    store().sweep();
    const QString warning = u"stuck-cc-S | shop | 有个会话 30 分钟没动静了，可能卡住了，去看一眼。"_s;
    EXPECT_EQ(m_notifications, QStringList{warning});
    apply("SomethingUnknown"); // a sign of life, although it changes nothing
    store().sweep();
    EXPECT_EQ(m_notifications, (QStringList{warning, warning}));
    EXPECT_EQ(line().status, running);
}

TEST_F(SweepTest, ClosesClaudeCodeLinesWhoseProcessIsGone)
{
    m_home.processes = {20, 21};
    addRecord("10.json", R"({"sessionId":"gone","pid":10,"status":"idle"})");
    addRecord("11.json", R"({"sessionId":"waits","pid":11})");
    addRecord("20.json", R"({"sessionId":"alive","pid":20})");
    addRecord("12.json", R"({"sessionId":"young","pid":12})");
    addRecord("13.json.bak", R"({"sessionId":"unknown","pid":13})");
    addRecord("14.json", R"({"sessionId":"shelved","pid":14})");
    addRecord("15.json", R"({"sessionId":"codex","pid":15})");
    for (const char *id : {"gone", "alive", "unknown"})
        addLine(u"cc-"_s + QString::fromUtf8(id), running, 6);
    addLine(u"cc-waits"_s, waiting, 6);
    addLine(u"cc-young"_s, running, 5);
    addLine(u"cc-shelved"_s, AgentTaskStatus::shelved, 6);
    addLine(u"cx-codex"_s, waiting, 6);
    const QDateTime before = line(u"cc-gone"_s).updatedAt;
    store().sweep();
    for (const QString &id : {u"cc-gone"_s, u"cc-waits"_s}) {
        EXPECT_EQ(line(id).status, done) << qPrintable(id);
        EXPECT_EQ(line(id).recentEvents, QList<QString>{u"10:00 会话已关闭"_s});
    }
    for (const QString &id : {u"cc-alive"_s, u"cc-unknown"_s, u"cc-young"_s})
        EXPECT_EQ(line(id).status, running) << qPrintable(id);
    EXPECT_EQ(line(u"cc-shelved"_s).status, AgentTaskStatus::shelved);
    EXPECT_EQ(line(u"cx-codex"_s).status, waiting);
    EXPECT_EQ(line(u"cc-gone"_s).updatedAt, before);
    EXPECT_EQ(stored().size(), store().tasks().size());
    EXPECT_EQ(stored().first().status, done);
}

TEST_F(SweepTest, RecordsThatSayNothingCloseNothing)
{
    addRecord("real.json", R"({"sessionId":"S1","pid":4242})");
    const QByteArray useless[] = {
        "",
        "[]",
        "null",
        "{",
        R"({"sessionId":"S"})",
        R"({"pid":1})",
        R"({"sessionId":5,"pid":10})",
        R"({"sessionId":"S","pid":"10"})",
        R"({"sessionId":"S","pid":10.5})",
        R"({"sessionId":"S","pid":0})",
        R"({"sessionId":"S","pid":-1})",
        R"({"sessionId":"S","pid":4294967297})",
        R"({"sessionId":"S","pid":1e300})",
        R"({"sessionId":"S","pid":true})",
    };
    int number = 0;
    for (const QByteArray &record : useless)
        addRecord(QByteArray::number(number++) + ".json", record);
    m_home.write(u".claude/sessions/folder.json/x"_s, "");
    addLine(u"cc-S"_s, running, 100);
    addLine(u"cc-S1"_s, running, 100);
    store().sweep();
    EXPECT_EQ(line(u"cc-S"_s).status, running);
    EXPECT_EQ(line(u"cc-S1"_s).status, done);
}

TEST_F(SweepTest, ClosesSilentAgentLinesAfterTwoHoursAndDropsOldOnesAfterAWeek)
{
    addLine(u"cc-edge"_s, running, 120);
    addLine(u"cc-silent"_s, running, 121);
    addLine(u"cx-silent"_s, running, 121);
    addLine(u"cx-waiting"_s, waiting, 60 * 24 * 30);
    addLine(u"manual"_s, running, 60 * 24 * 30);
    addLine(u"cc-week"_s, done, 60 * 24 * 7);
    addLine(u"manual-old"_s, done, 60 * 24 * 7 + 1);
    addLine(u"cc-old-silent"_s, running, 60 * 24 * 8);
    store().sweep();
    for (const QString &id : {u"cc-silent"_s, u"cx-silent"_s}) {
        EXPECT_EQ(line(id).status, done);
        EXPECT_EQ(line(id).recentEvents, QList<QString>{u"10:00 长时间无动静，判定会话已结束"_s});
    }
    QStringList ids;
    for (const AgentTask &task : stored())
        ids.append(task.id);
    EXPECT_EQ(ids,
              (QStringList{u"cc-edge"_s, u"cc-silent"_s, u"cx-silent"_s, u"cx-waiting"_s, u"manual"_s, u"cc-week"_s}));
    EXPECT_EQ(line(u"manual"_s).status, running);
    EXPECT_EQ(line(u"cx-waiting"_s).status, waiting);
}

TEST_F(SweepTest, SavesAndAnnouncesEvenWhenNothingQualifies)
{
    addLine(u"cc-S"_s, waiting, 1);
    ASSERT_TRUE(QFile::remove(m_home.path(u".tavvel/tasks.json"_s)));
    int announced = 0;
    QObject::connect(&store(), &TaskStore::objectWillChange, [&announced] { ++announced; });
    EXPECT_EQ(savesOf([this] { store().sweep(); }), 1);
    EXPECT_EQ(announced, 2); // the assignment of the kept lines, and the end of the sweep
    EXPECT_EQ(stored(), store().tasks());
}

TEST_F(SweepTest, AClosedLineComesBackToLifeWithTheNextEvent)
{
    addLine(u"cc-S"_s, running, 200);
    store().sweep();
    ASSERT_EQ(line().status, done);
    apply("PostToolUse");
    EXPECT_EQ(line().status, running);
}
