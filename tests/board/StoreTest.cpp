#include "Plumtide/store/TaskStore.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"
#include "tests/support/Unprivileged.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

namespace {

const QString tasksFile = u".tavvel/tasks.json"_s;
const QString eventsFile = u".tavvel/events.jsonl"_s;
const QByteArray record = R"({"currentState":"s","id":"cc-1","needsApproval":false,"project":"p","purpose":"w",)"
                          R"("recentEvents":["e"],"source":"Codex","status":"shelved","tags":["b","a"],"title":"t",)"
                          R"("titleEdited":true,"updatedAt":"2026-03-07T09:41:05Z","waitingReason":"r"})";
const QByteArray prompt = R"({"session_id":"S","hook_event_name":"UserPromptSubmit"})";

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

TEST_F(StoreTest, AStartLeavesTheFileAloneAndTheNextSaveKeepsEveryField)
{
    restart();
    EXPECT_TRUE(QDir(m_home.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    QByteArray bare = record;
    for (const char *optional : {R"("needsApproval":false,)", R"("titleEdited":true,)", R"(,"waitingReason":"r")"})
        bare.replace(optional, "");
    const QByteArray nulls =
        R"({"needsApproval":null,"titleEdited":null,"waitingReason":null,"new":1,)" + bare.sliced(1);
    const QByteArray before = '[' + record + ',' + nulls + ']';
    m_home.write(tasksFile, before);
    restart();
    EXPECT_EQ(m_home.read(tasksFile), before);
    m_store->sweep();
    EXPECT_EQ(QJsonDocument::fromJson(m_home.read(tasksFile)),
              QJsonDocument::fromJson('[' + record + ',' + bare + ']'));
}

TEST_F(StoreTest, AFileOfAnythingElseIsKeptAndNumbered)
{
    QList<QByteArray> damaged{"{", "{}", "[1]", QByteArray("[\0]", 3)};
    for (const QByteArray change : {"currentState x", "id x",
                                    "project x",      "purpose x",
                                    "recentEvents x", "source x",
                                    "status x",       "tags x",
                                    "title x",        "updatedAt x",
                                    "\"s\" 1",        "\"cc-1\" null",
                                    "\"p\" 1",        "\"w\" null",
                                    "[\"e\"] \"e\"",  "\"b\" 1",
                                    "\"t\" null",     "\"r\" 1",
                                    "true 1",         "false \"false\"",
                                    "Codex codex",    "shelved Shelved",
                                    "05Z 05.250Z",    "05Z 05+00:00",
                                    "03-07 02-30",    "2026 0000"})
        damaged += '[' + record + ',' + QByteArray(record).replace(change.split(' ')[0], change.split(' ')[1]) + ']';
    for (qsizetype i = 0; i < damaged.size(); ++i) {
        m_store.reset();
        m_home.write(tasksFile, damaged[i]);
        restart();
        EXPECT_TRUE(m_store->tasks().isEmpty() && !m_home.exists(tasksFile)) << damaged[i].constData();
        const QString number = i == 0 ? QString() : u'-' + QString::number(i + 1);
        EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt"_s + number + u".json"_s), damaged[i]);
    }
}

TEST_F(StoreTest, AFailedSaveSaysOneLineLosesNoneAndOverwritesNothing)
{
    const std::tuple<QByteArray, int, QByteArray> cases[] = {
        {"[]", 0x6666, ""}, {"{ damaged", 0x6666, "{ damaged"}, {"[] unreadable", 0, "[] unreadable"}};
    for (const auto &[file, mode, kept] : cases) {
        m_home.write(tasksFile, file);
        QFile::setPermissions(m_home.path(tasksFile), QFile::Permissions(mode));
        QFile::setPermissions(m_home.path(), QFile::Permissions(0x7777));
        QFile::setPermissions(m_home.path(u".tavvel"_s), QFile::Permissions(0x5555));
        {
            const Unprivileged ordinaryUser;
            restart();
            testing::internal::CaptureStderr();
            m_store->upsert(AgentTask());
            EXPECT_THAT(testing::internal::GetCapturedStderr(),
                        testing::MatchesRegex("Plumtide: 保存 tasks.json 失败 — [^\n]+\n"));
        }
        QFile::setPermissions(m_home.path(u".tavvel"_s), QFile::Permissions(0x7777));
        m_store->apply(HookEvent::decode(prompt).value());
        EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt.json"_s), kept);
        restart();
        EXPECT_EQ(m_store->tasks().size(), 2) << file.constData();
        m_store.reset();
        QFile::remove(m_home.path(u".tavvel/tasks.corrupt.json"_s));
    }
}

TEST_F(StoreTest, TheEndAppliesAllThatTheWatcherTookAndTheNextStartTheRest)
{
    constexpr int count = 3000; // far more than may be on their way at once
    QByteArray log;
    for (int i = 0; i < count; ++i)
        log += R"({"session_id":"S","hook_event_name":"UserPromptSubmit","tavvel_ts":)" + QByteArray::number(i) + "}\n";
    m_home.write(eventsFile, log);
    const auto applied = [this] {
        return m_store->tasks().isEmpty() ? 0 : m_store->tasks().first().updatedAt.toSecsSinceEpoch() + 1;
    };
    restart();
    ASSERT_TRUE(waitUntil([&] { return applied() > 0; }));
    m_store->finish();
    const auto offset = static_cast<qsizetype>(m_home.defaults()->number(u"tavvel.events.offset"_s).value_or(0));
    EXPECT_EQ(applied(), log.first(offset).count('\n'));
    EXPECT_LT(applied(), count);
    restart();
    EXPECT_TRUE(waitUntil([&] { return applied() == count; }));
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
    m_store->apply(HookEvent::decode(R"({"session_id":"S"})").value());
    EXPECT_FALSE(m_store->hasSeenClaudeEvent());
    m_store->apply(HookEvent::decode(R"({"hook_event_name":"Stop"})").value());
    EXPECT_TRUE(m_store->hasSeenClaudeEvent() && m_store->tasks().isEmpty());
    m_home.write(eventsFile, "");
    restart();
    EXPECT_TRUE(m_store->hasSeenCodexEvent() && m_store->hasSeenClaudeEvent());
}

TEST(HookEvent, ALineThatIsNoEventDoesNotDecode)
{
    const QByteArray lines[] = {"",
                                "[]",
                                "1",
                                "{",
                                "{}x",
                                "{\"cwd\":\"\xff\xfe\"}",
                                QByteArray(200'000, '['),
                                R"({"session_id":1})",
                                R"({"hook_event_name":["Stop"]})",
                                R"({"cwd":{}})",
                                R"({"tool_name":true})",
                                R"({"prompt":1})",
                                R"({"assistant":false})",
                                R"({"tool_input":"ls"})",
                                R"({"tavvel_ts":"1"})"};
    for (const QByteArray &line : lines)
        EXPECT_FALSE(HookEvent::decode(line)) << line.left(40).constData();
    EXPECT_TRUE(HookEvent::decode(R"({"cwd":null,"transcript_path":7,"tool_input":null,"tavvel_ts":null})"));
}

TEST(HookEvent, AToolCallIsNamedByTheFirstOfItsTexts)
{
    QByteArray input = R"({"content":"x")";
    for (const QByteArray key : {"prompt", "description", "url", "pattern", "path", "file_path", "command"}) {
        input += ",\"" + key + "\":\"the " + key + '"';
        EXPECT_EQ(HookEvent::decode(R"({"tool_input":)" + input + "}}")->toolInputSummary(),
                  QString::fromUtf8("the " + key));
    }
    EXPECT_EQ(HookEvent::decode(R"({"tool_input":{"command":"","path":5,"url":"u"}})")->toolInputSummary(), u"u"_s);
    EXPECT_EQ(HookEvent::decode(R"({"tool_input":{"command":"  ","url":"u"}})")->toolInputSummary(), std::nullopt);
}
