#include "tests/store/StoreFixture.h"

using namespace Qt::StringLiterals;

namespace {

using EventApplicationTest = StoreFixture;

// Without the leading "HH:mm ".
QStringList entries(const AgentTask &line)
{
    QStringList result;
    for (const QString &entry : line.recentEvents)
        result.append(entry.sliced(6));
    return result;
}

} // namespace

TEST_F(EventApplicationTest, AWholeClaudeCodeSession)
{
    struct Step
    {
        int minute;
        const char *name;
        const char *members;
        AgentTaskStatus status;
        QString currentState;
        std::optional<QString> waitingReason;
        std::optional<bool> needsApproval;
    };
    using enum AgentTaskStatus;
    const Step steps[] = {
        {0, "UserPromptSubmit", R"("prompt":"add a login page")", running, u"正在处理你的请求"_s, {}, {}},
        {1, "PostToolUse", R"("tool_name":"Edit")", running, u"正在处理：Edit"_s, {}, {}},
        {2, "PermissionRequest", R"("tool_name":"Bash","tool_input":{"command":"npm install"})", waiting,
         u"暂停中，等待你确认"_s, u"等你确认：Bash — npm install"_s, true},
        {3, "PostToolUse", R"("tool_name":"Bash")", running, u"正在处理：Bash"_s, {}, {}},
        {5, "Stop", "", waiting, u"回复好了"_s, u"等你看一眼。"_s, false},
        {30, "SessionEnd", "", done, u"回复好了"_s, {}, {}},
    };
    int minute = 0;
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name);
        waitMinutes(step.minute - minute);
        minute = step.minute;
        apply(step.name, step.members);
        EXPECT_EQ(line().status, step.status);
        EXPECT_EQ(line().currentState, step.currentState);
        EXPECT_EQ(line().waitingReason, step.waitingReason);
        EXPECT_EQ(line().needsApproval, step.needsApproval);
        EXPECT_EQ(line().updatedAt, m_home.now);
        EXPECT_EQ(stored().size(), 1);
    }
    EXPECT_EQ(line().recentEvents,
              (QList<QString>{u"10:00 你说：add a login page"_s, u"10:02 请求审批 Bash — npm install"_s,
                              u"10:30 会话结束"_s}));
    EXPECT_EQ(line().title, u"add a login page"_s);
    EXPECT_EQ(line().project, u"shop"_s);
    EXPECT_EQ(line().source, TaskSource::claude);
    EXPECT_EQ(m_notifications, QStringList{u"approval-cc-S | shop | 有个操作需要你确认：Bash — npm install"_s});
}

TEST_F(EventApplicationTest, ACodexTurnMakesItsLineAndFollowsItsPrompt)
{
    apply("CodexTurnComplete", R"("prompt":"改一下登录页","assistant":"改好了：\n\n1. login ✅")");
    const AgentTask codex = line(u"cx-S"_s);
    EXPECT_EQ(codex.source, TaskSource::codex);
    EXPECT_EQ(codex.status, AgentTaskStatus::waiting);
    EXPECT_EQ(codex.title, u"改一下登录页"_s);
    EXPECT_EQ(codex.currentState, u"Codex 这轮做完了"_s);
    EXPECT_EQ(codex.waitingReason, u"Codex 回复好了，等你看一眼。"_s);
    EXPECT_EQ(codex.needsApproval, false);
    apply("CodexTurnComplete", R"("prompt":"now the tests")");
    EXPECT_EQ(line(u"cx-S"_s).title, u"now the tests"_s);
    EXPECT_EQ(entries(line(u"cx-S"_s)),
              (QStringList{u"Codex 回了：改好了： 1. login ✅"_s, u"Codex 回了：（无内容）"_s}));
    EXPECT_TRUE(store().hasSeenCodexEvent());
    EXPECT_FALSE(store().hasSeenClaudeEvent());
    // The same id at the other tool is another session.
    apply("UserPromptSubmit");
    EXPECT_EQ(store().tasks().size(), 2);
}

TEST_F(EventApplicationTest, TitlesComeFromPromptsThatSaySomething)
{
    const QByteArray long36(36, 'x');
    const std::tuple<QByteArray, QString, QString> cases[] = {
        {R"("prompt":"rename the\nconfig loader\n")", u"rename the config loader"_s, u"rename the config loader"_s},
        {R"("prompt":"hi")", u"shop"_s, u"hi"_s},
        {R"("prompt":"1234")", u"shop"_s, u"1234"_s},
        {R"("prompt":"12345")", u"12345"_s, u"12345"_s},
        {R"("prompt":"👨‍👩‍👧‍👦👨‍👩‍👧‍👦")", u"shop"_s,
         u"👨‍👩‍👧‍👦👨‍👩‍👧‍👦"_s},
        {R"("prompt":"  1234  ")", u"shop"_s, u"1234"_s},
        {R"("prompt":"You are a helpful assistant. Do it")", u"shop"_s, u"You are a helpful assistant. Do it"_s},
        {R"("prompt":")" + long36 + "y\"", QString::fromUtf8(long36) + u'…', QString::fromUtf8(long36) + u'…'},
        {"", u"shop"_s, u"（空消息）"_s},
        {R"("prompt":" \n ")", u"shop"_s, u"（空消息）"_s},
    };
    for (const auto &[members, title, entry] : cases) {
        SCOPED_TRACE(members.constData());
        store().setTasks({});
        apply("UserPromptSubmit", members);
        EXPECT_EQ(line().title, title);
        EXPECT_EQ(entries(line()), QStringList{u"你说："_s + entry});
    }
}

TEST_F(EventApplicationTest, TheProjectIsTheLastPartOfTheFolder)
{
    const std::pair<QByteArray, QString> cases[] = {
        {R"("cwd":"/home/u/shop")", u"shop"_s}, {R"("cwd":"/home/u/shop//")", u"shop"_s},
        {R"("cwd":"shop")", u"shop"_s},         {R"("cwd":"/")", u"/"_s},
        {R"("cwd":"")", u"未知项目"_s},         {R"("cwd":null)", u"未知项目"_s},
    };
    for (const auto &[cwd, project] : cases) {
        store().setTasks({});
        store().apply(*HookEvent::decode(R"({"session_id":"S","hook_event_name":"UserPromptSubmit",)" + cwd + "}"));
        EXPECT_EQ(line().project, project) << cwd.constData();
        EXPECT_EQ(line().title, project);
    }
}

TEST_F(EventApplicationTest, EventsThatDoNotPutASessionOnTheBoardOnlyMarkTheirTool)
{
    for (const char *name : {"SessionStart", "PostToolUse", "Stop", "SessionEnd", "PreToolUse", "userpromptsubmit"})
        apply(name);
    EXPECT_TRUE(store().tasks().isEmpty());
    EXPECT_TRUE(store().hasSeenClaudeEvent());
    EXPECT_FALSE(store().hasSeenCodexEvent());
    apply("CodexSomething");
    store().apply(*HookEvent::decode(R"({"hook_event_name":"CodexTurnComplete"})"));
    store().apply(*HookEvent::decode(R"({"session_id":"S"})"));
    EXPECT_TRUE(store().tasks().isEmpty());
    EXPECT_TRUE(store().hasSeenCodexEvent());
    EXPECT_FALSE(m_home.exists(u".tavvel/tasks.json"_s));
}

TEST_F(EventApplicationTest, UnknownNamesLeaveAKnownLineAlone)
{
    apply("UserPromptSubmit", R"("prompt":"do something")");
    const AgentTask before = line();
    waitMinutes(1);
    EXPECT_EQ(savesOf([this] { apply("Notification"); }), 0);
    EXPECT_EQ(line(), before);
}

TEST_F(EventApplicationTest, AResumedSessionOnlyGetsAnEntry)
{
    apply("UserPromptSubmit", R"("prompt":"do something")");
    apply("SessionEnd");
    AgentTask expected = line();
    waitMinutes(2);
    apply("SessionStart");
    expected.recentEvents.append(u"10:02 会话恢复"_s);
    EXPECT_EQ(line(), expected);
    EXPECT_EQ(stored().first().recentEvents, expected.recentEvents);
    apply("UserPromptSubmit", R"("prompt":"go on with it")");
    EXPECT_EQ(line().status, AgentTaskStatus::running);
    EXPECT_EQ(entries(line()), (QStringList{u"会话结束"_s, u"会话恢复"_s, u"你说：go on with it"_s}));
}

TEST_F(EventApplicationTest, OneNotificationForEachTimeTheAgentStartsToWait)
{
    apply("PermissionRequest"); // also of a session that has no line yet
    EXPECT_EQ(line().waitingReason, u"等你确认：工具调用"_s);
    EXPECT_EQ(entries(line()), QStringList{u"请求审批 工具调用"_s});
    apply("PermissionRequest", R"("tool_name":"Write","tool_input":{"file_path":"/a/b.txt","content":"x"})");
    EXPECT_EQ(line().waitingReason, u"等你确认：Write — /a/b.txt"_s);
    EXPECT_EQ(m_notifications, QStringList{u"approval-cc-S | shop | 有个操作需要你确认：工具调用"_s});
    for (const char *answer : {"PostToolUse", "Stop", "UserPromptSubmit"}) {
        apply(answer);
        apply("PermissionRequest");
    }
    EXPECT_EQ(m_notifications.size(), 4);
}

TEST_F(EventApplicationTest, TitlesWrittenByHandStay)
{
    apply("UserPromptSubmit", R"("prompt":"do something")");
    AgentTask edited = line();
    edited.title = u"mine"_s;
    edited.titleEdited = true;
    edited.purpose = u"why"_s;
    edited.tags = {u"tag"_s};
    store().upsert(edited);
    for (const char *name : {"UserPromptSubmit", "PermissionRequest", "PostToolUse", "Stop", "SessionEnd"})
        apply(name, R"("prompt":"another long prompt")");
    EXPECT_EQ(line().title, u"mine"_s);
    EXPECT_EQ(line().purpose, u"why"_s);
    EXPECT_EQ(line().tags, edited.tags);
    EXPECT_EQ(line().titleEdited, true);
}

TEST_F(EventApplicationTest, TheEventsOwnTimeCountsAlsoWhenItIsEarlier)
{
    apply("UserPromptSubmit");
    const QDateTime later = m_home.now;
    m_home.now = later.addSecs(-300);
    apply("Stop");
    EXPECT_EQ(line().updatedAt, later.addSecs(-300));
    store().apply(*HookEvent::decode(R"({"session_id":"S","hook_event_name":"Stop"})"));
    EXPECT_EQ(line().updatedAt, m_home.now);
}

TEST_F(EventApplicationTest, EachStoredEventSavesOnce)
{
    apply("UserPromptSubmit");
    EXPECT_EQ(savesOf([this] { apply("Stop"); }), 1);
    EXPECT_EQ(savesOf([this] { apply("SessionStart"); }), 1);
    EXPECT_EQ(savesOf([this] { store().setStatus(u"cc-S"_s, AgentTaskStatus::shelved); }), 2);
}
