#include "tests/store/StoreFixture.h"

using namespace Qt::StringLiterals;

namespace {

class BoardQueriesTest : public StoreFixture
{
protected:
    struct Line
    {
        QString id;
        QString project;
        AgentTaskStatus status;
        int minutesAgo;
        bool needsApproval = false;
        TaskSource source = TaskSource::claude;
    };

    void setLines(std::initializer_list<Line> lines)
    {
        QList<AgentTask> tasks;
        for (const Line &line : lines) {
            AgentTask task;
            task.id = line.id;
            task.project = line.project;
            task.status = line.status;
            task.needsApproval = line.needsApproval;
            task.source = line.source;
            task.updatedAt = m_home.now.addSecs(-60LL * line.minutesAgo);
            tasks.append(task);
        }
        store().setTasks(tasks);
    }

    static QString ids(const QList<AgentTask> &lines)
    {
        QStringList result;
        for (const AgentTask &line : lines)
            result.append(line.id);
        return result.join(u' ');
    }

    QString names(ProjectSection section)
    {
        QStringList result;
        for (const ProjectGroup &group : store().projectGroups(section))
            result.append(group.name);
        return result.join(u' ');
    }

    static constexpr auto running = AgentTaskStatus::running;
    static constexpr auto waiting = AgentTaskStatus::waiting;
    static constexpr auto shelved = AgentTaskStatus::shelved;
    static constexpr auto done = AgentTaskStatus::done;
};

} // namespace

TEST_F(BoardQueriesTest, LinesOfAStatusUrgentOnesFirst)
{
    setLines({{u"cc-reply"_s, u"a"_s, waiting, 20},
              {u"cc-approval"_s, u"a"_s, waiting, 15, true},
              {u"manual"_s, u"a"_s, waiting, 10},
              {u"cc-faded"_s, u"a"_s, waiting, 90},
              {u"cc-newer-reply"_s, u"a"_s, waiting, 5},
              {u"cc-run1"_s, u"a"_s, running, 9},
              {u"cc-run2"_s, u"a"_s, running, 3},
              {u"cc-run3"_s, u"a"_s, running, 9},
              {u"cc-done"_s, u"a"_s, done, 1},
              {u"cc-shelved"_s, u"a"_s, shelved, 1}});
    EXPECT_EQ(ids(store().tasks(waiting)), u"cc-approval manual cc-reply cc-newer-reply"_s);
    EXPECT_EQ(ids(store().tasks(running)), u"cc-run2 cc-run1 cc-run3"_s);
    EXPECT_EQ(ids(store().tasks(done)), u"cc-done"_s);
    EXPECT_EQ(store().urgentCount(), 2);
    EXPECT_EQ(store().idleLineCount(), 2);
}

TEST_F(BoardQueriesTest, TheSourceFilterHidesLinesButNeverFromTheUrgentCount)
{
    setLines({{u"cc-1"_s, u"a"_s, waiting, 1, true},
              {u"cx-1"_s, u"a"_s, waiting, 1, false, TaskSource::codex},
              {u"cx-2"_s, u"b"_s, shelved, 1, false, TaskSource::codex},
              {u"cc-2"_s, u"c"_s, shelved, 1},
              {u"manual"_s, u"d"_s, waiting, 1, false, TaskSource::other}});
    store().setSourceFilter(TaskSource::codex);
    EXPECT_EQ(store().urgentCount(), 2);
    EXPECT_EQ(store().idleLineCount(), 1);
    EXPECT_EQ(ids(store().tasks(waiting)), u"cx-1"_s);
    EXPECT_EQ(names(ProjectSection::pending), u"a"_s);
    EXPECT_EQ(names(ProjectSection::quiet), u"b"_s);
    store().setSourceFilter({});
    EXPECT_EQ(store().idleLineCount(), 2);
}

TEST_F(BoardQueriesTest, LinesInsideAProjectByRankThenTime)
{
    setLines({{u"cc-running"_s, u"a"_s, running, 4},
              {u"cc-shelved"_s, u"a"_s, shelved, 50},
              {u"cc-reply-new"_s, u"a"_s, waiting, 5},
              {u"cc-faded"_s, u"a"_s, waiting, 90},
              {u"cc-reply-old"_s, u"a"_s, waiting, 30},
              {u"cc-approval-old"_s, u"a"_s, waiting, 300, true},
              {u"cc-approval-new"_s, u"a"_s, waiting, 2, true},
              {u"cc-twin1"_s, u"a"_s, running, 8},
              {u"cc-twin2"_s, u"a"_s, running, 8},
              {u"cc-done"_s, u"a"_s, done, 1}});
    ASSERT_EQ(store().projectGroups().size(), 1);
    EXPECT_EQ(
        ids(store().projectGroups().first().lines),
        u"cc-approval-new cc-approval-old cc-reply-old cc-reply-new cc-running cc-twin1 cc-twin2 cc-shelved cc-faded"_s);
}

TEST_F(BoardQueriesTest, GroupsOfASectionUrgentFirstThenNewestThenByName)
{
    setLines({{u"cc-1"_s, u"fresh"_s, waiting, 1},
              {u"cc-2"_s, u"urgent"_s, waiting, 100, true},
              {u"cc-3"_s, u"busy"_s, running, 7},
              {u"cc-4"_s, u"busier"_s, running, 9},
              {u"cc-5"_s, u"busier"_s, shelved, 3},
              {u"cc-6"_s, u"twin-b"_s, shelved, 40},
              {u"cc-7"_s, u"twin-a"_s, shelved, 40},
              {u"cc-8"_s, u"faded"_s, waiting, 70},
              {u"cc-9"_s, u"finished"_s, done, 1}});
    EXPECT_EQ(names(ProjectSection::pending), u"urgent fresh"_s);
    EXPECT_EQ(names(ProjectSection::inProgress), u"busier busy"_s);
    EXPECT_EQ(names(ProjectSection::quiet), u"twin-a twin-b faded"_s);
}

TEST_F(BoardQueriesTest, EditsByHandKeepPlacesAndOtherFields)
{
    apply("PermissionRequest", R"("tool_name":"Bash")");
    setLines(
        {{u"first"_s, u"a"_s, waiting, 1}, {u"cc-S"_s, u"a"_s, waiting, 1, true}, {u"last"_s, u"a"_s, waiting, 1}});
    AgentTask edited = line();
    edited.waitingReason = u"等你确认：Bash"_s;
    edited.updatedAt = QDateTime();
    waitMinutes(1);
    store().upsert(edited);
    EXPECT_EQ(ids(store().tasks()), u"first cc-S last"_s);
    EXPECT_EQ(line().updatedAt, m_home.now);

    store().setStatus(u"cc-S"_s, shelved);
    EXPECT_FALSE(line().isUrgent());
    waitMinutes(1);
    store().setStatus(u"cc-S"_s, waiting);
    EXPECT_TRUE(line().isUrgent());
    EXPECT_EQ(line().waitingReason, u"等你确认：Bash"_s);
    EXPECT_EQ(line().updatedAt, m_home.now);

    AgentTask added;
    added.id = u"new"_s;
    store().upsert(added);
    EXPECT_EQ(ids(store().tasks()), u"first cc-S last new"_s);
    EXPECT_EQ(stored().size(), 4);
}
