#include "Plumtide/store/TaskStore.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

namespace {

const QString tasksFile = u".tavvel/tasks.json"_s;
const QString eventsFile = u".tavvel/events.jsonl"_s;
const QByteArray prompt = R"({"session_id":"S","hook_event_name":"UserPromptSubmit","tavvel_ts":1})";
// What every stored line has, and what it may have.
const QByteArray needed =
    R"("currentState":"s","id":"cc-1","project":"p","purpose":"w","recentEvents":["e"],)"
    R"("source":"Codex","status":"shelved","tags":["b"],"title":"t","updatedAt":"2026-03-07T09:41:05Z")";
const QByteArray optional = R"("needsApproval":false,"titleEdited":true,"waitingReason":"r")";

class StoreTest : public testing::Test
{
protected:
    void restart()
    {
        m_store.reset();
        m_store = std::make_unique<TaskStore>(m_home.environment());
    }

    TestHome m_home;
    std::unique_ptr<TaskStore> m_store;
};

} // namespace

TEST_F(StoreTest, AStartLeavesTheFileAloneAndASaveKeepsEveryField)
{
    restart();
    EXPECT_TRUE(QDir(m_home.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    const QByteArray absent = R"("needsApproval":null,"titleEdited":null,"waitingReason":null,"new":1)";
    const QByteArray before = "[{" + needed + ',' + optional + "},{" + needed + ',' + absent + "}]";
    m_home.write(tasksFile, before);
    restart();
    EXPECT_EQ(m_home.read(tasksFile), before);
    m_store->sweep();
    EXPECT_EQ(QJsonDocument::fromJson(m_home.read(tasksFile)),
              QJsonDocument::fromJson("[{" + needed + ',' + optional + "},{" + needed + "}]"));
}

TEST_F(StoreTest, AFileOfAnythingElseIsKeptAndNumbered)
{
    QList<QByteArray> damaged{"{", "{}", "[1]", QByteArray("[\0]", 3)};
    const QByteArray full = needed + ',' + optional;
    for (const QByteArray &member : full.split(','))
        damaged += "[{" + QByteArray(full).replace(member, member.split(':')[0] + ":1") + "}]";
    for (const QByteArray &member : needed.split(','))
        damaged += "[{" + QByteArray(needed).replace(member, "\"new\":1") + "}]";
    const QByteArray changes =
        R"("t"|null Codex|codex shelved|Shelved "b"|1 05Z|05.250Z 05Z|05+00:00 03-07|02-30 2026|0000)";
    for (const QByteArray &change : changes.split(' '))
        damaged += "[{" + QByteArray(needed).replace(change.split('|')[0], change.split('|')[1]) + "}]";
    for (qsizetype i = 0; i < damaged.size(); ++i) {
        m_store.reset();
        m_home.write(tasksFile, damaged[i]);
        restart();
        EXPECT_TRUE(m_store->tasks().isEmpty() && !m_home.exists(tasksFile)) << damaged[i].constData();
        const QString number = i == 0 ? QString() : u'-' + QString::number(i + 1);
        EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt"_s + number + u".json"_s), damaged[i]);
    }
}

TEST_F(StoreTest, WhatCannotBeReadIsMovedAsideBeforeTheFirstSave)
{
    m_home.write(tasksFile + u"/precious"_s, "");
    restart();
    m_store->upsert(AgentTask());
    EXPECT_TRUE(m_home.exists(u".tavvel/tasks.corrupt.json/precious"_s));
    EXPECT_EQ(QFile::permissions(m_home.path(tasksFile)) & ~QFile::Permissions(0x0f00),
              QFile::ReadOwner | QFile::WriteOwner);
}

TEST_F(StoreTest, AFailedSaveSaysOneLineAndTheNextChangeSavesAll)
{
    m_home.write(u".tavvel"_s, "where the directory should be");
    restart();
    testing::internal::CaptureStderr();
    m_store->upsert(AgentTask());
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::MatchesRegex("Plumtide: 保存 tasks.json 失败 — [^\n]+\n"));
    QFile::remove(m_home.path(u".tavvel"_s));
    m_store->apply(HookEvent::decode(prompt).value());
    restart();
    EXPECT_EQ(m_store->tasks().size(), 2);
}

TEST_F(StoreTest, TheEndAppliesAllThatTheWatcherTook)
{
    QByteArray log;
    for (int i = 0; i < 3000; ++i) // far more than may be on their way at once
        log += prompt.chopped(1) + QByteArray::number(i) + "}\n";
    m_home.write(eventsFile, log);
    restart();
    ASSERT_TRUE(waitUntil([this] { return !m_store->tasks().isEmpty(); }));
    m_store->finish();
    const auto offset = static_cast<qsizetype>(m_home.defaults()->number(u"tavvel.events.offset"_s).value_or(0));
    EXPECT_LT(offset, log.size());
    const QByteArray last = log.first(offset).chopped(1).split('\n').last();
    EXPECT_EQ(m_store->tasks().first().updatedAt, HookEvent::decode(last)->date({}));
}

TEST_F(StoreTest, ASecondStoreOfTheSameDataTouchesNothing)
{
    restart();
    TaskStore second(m_home.environment());
    m_home.write(eventsFile, prompt + '\n');
    ASSERT_TRUE(waitUntil([this] { return m_store->tasks().size() == 1; }));
    const QByteArray before = m_home.read(tasksFile);
    second.upsert(AgentTask());
    second.sweep();
    EXPECT_EQ(second.tasks().size(), 1);
    EXPECT_EQ(m_home.read(tasksFile), before);
}

TEST_F(StoreTest, AToolIsSeenByAnyNamedEventAlsoOfALogThatWasReadAndEverAfter)
{
    const QByteArray codex = "broken\n{}\n{\"hook_event_name\":\"\\u0043odexNews\"}\n";
    m_home.write(eventsFile, codex);
    m_home.defaults()->setNumber(u"tavvel.events.offset"_s, static_cast<double>(codex.size()));
    restart();
    EXPECT_TRUE(m_store->hasSeenCodexEvent() && !m_store->hasSeenClaudeEvent());
    m_store->apply(HookEvent::decode(R"({"hook_event_name":"Stop"})").value());
    EXPECT_TRUE(m_store->hasSeenClaudeEvent() && m_store->tasks().isEmpty());
    m_home.write(eventsFile, "");
    restart();
    EXPECT_TRUE(m_store->hasSeenCodexEvent() && m_store->hasSeenClaudeEvent());
}

TEST(HookEvent, ALineThatIsNoEventDoesNotDecode)
{
    const QByteArray lines = R"([] 1 { {}x {"session_id":1} {"hook_event_name":[]} {"cwd":{}} {"tool_name":true} )"
                             R"({"prompt":1} {"assistant":false} {"tool_input":"ls"} {"tavvel_ts":"1"})";
    for (const QByteArray &line : (lines + " {\"cwd\":\"\xff\"} " + QByteArray(200'000, '[')).split(' '))
        EXPECT_FALSE(HookEvent::decode(line)) << line.left(40).constData();
    EXPECT_TRUE(HookEvent::decode(R"({"cwd":null,"transcript_path":7,"tool_input":null,"tavvel_ts":null})"));
}

TEST(HookEvent, AToolCallIsNamedByTheFirstOfItsTexts)
{
    const auto summary = [](const QByteArray &input) {
        return HookEvent::decode(R"({"tool_input":{)" + input + "}}")->toolInputSummary();
    };
    QByteArray input = R"("content":"x")";
    for (const QByteArray key : {"prompt", "description", "url", "pattern", "path", "file_path", "command"}) {
        input += ",\"" + key + "\":\"the " + key + '"';
        EXPECT_EQ(summary(input), QString::fromUtf8("the " + key));
    }
    EXPECT_EQ(summary(R"("command":"","path":5,"url":"u")"), u"u"_s);
    EXPECT_EQ(summary(R"("command":"  ","url":"u")"), std::nullopt);
}
