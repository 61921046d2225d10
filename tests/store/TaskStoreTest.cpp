#include "tests/store/StoreFixture.h"

#include "Plumtide/store/TaskFile.h"
#include "tests/support/Unprivileged.h"

#include <sys/resource.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

class TaskStoreTest : public StoreFixture
{
protected:
    const QString m_tasks = u".tavvel/tasks.json"_s;
    const QString m_events = u".tavvel/events.jsonl"_s;

    static AgentTask manualLine(const QString &id, const QString &title)
    {
        AgentTask task;
        task.id = id;
        task.title = title;
        return task;
    }
};

// No file may grow beyond `bytes` while it lives, as on a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before = {};
};

} // namespace

TEST_F(TaskStoreTest, AFirstStartMakesNothingUntilTheFirstChange)
{
    EXPECT_TRUE(store().tasks().isEmpty());
    EXPECT_TRUE(QDir(m_home.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty());
    store().upsert(manualLine(u"m"_s, u"title"_s));
    EXPECT_EQ(stored().size(), 1);
    struct stat status = {};
    ASSERT_EQ(::stat(QFile::encodeName(m_home.path(m_tasks)).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
}

TEST_F(TaskStoreTest, LinesComeBackAfterARestartAndTheFileIsLeftAloneUntilTheNextChange)
{
    store().upsert(manualLine(u"m1"_s, u"第一 \"x\"\n"_s));
    store().upsert(manualLine(u"m2"_s, u"second"_s));
    store().upsert(manualLine(u"m1"_s, u"changed"_s));
    const QList<AgentTask> before = store().tasks();
    ASSERT_EQ(before.size(), 2);
    EXPECT_EQ(stored(), before);
    m_store.reset();
    const QFileInfo file(m_home.path(m_tasks));
    const QDateTime written = file.lastModified();
    restart();
    EXPECT_EQ(store().tasks(), before);
    EXPECT_EQ(QFileInfo(m_home.path(m_tasks)).lastModified(), written);
}

TEST_F(TaskStoreTest, TheFileIsAPrettyPrintedArrayWithSortedKeysHoweverItWasReached)
{
    // The encoder keeps the text of unchanged lines; whatever happens to the list, it must equal a fresh encoding.
    const auto expectFresh = [this](const char *what) {
        EXPECT_EQ(m_home.read(m_tasks), TaskFile::encode(store().tasks())) << what;
    };
    for (int i = 0; i < 5; ++i)
        store().upsert(manualLine(QString::number(i), u"line"_s));
    expectFresh("appended");
    store().setStatus(u"2"_s, AgentTaskStatus::shelved);
    expectFresh("changed in the middle");
    QList<AgentTask> lines = store().tasks();
    lines.removeAt(1);
    lines.swapItemsAt(0, 2);
    store().setTasks(lines);
    expectFresh("assigned");
    store().setStatus(u"4"_s, AgentTaskStatus::done);
    waitMinutes(8 * 24 * 60);
    store().sweep();
    expectFresh("purged");
    store().setTasks({});
    expectFresh("emptied");
    EXPECT_EQ(TaskFile::decode(m_home.read(m_tasks)), QList<AgentTask>());

    store().upsert(manualLine(u"a"_s, u"b"_s));
    const QByteArray text = m_home.read(m_tasks);
    EXPECT_LT(text.indexOf("\"currentState\""), text.indexOf("\"id\""));
    EXPECT_LT(text.indexOf("\"title\""), text.indexOf("\"updatedAt\""));
    EXPECT_GT(text.count('\n'), 10);
}

TEST_F(TaskStoreTest, DamagedFilesAreKeptAndNumbered)
{
    const QByteArray damaged[] = {"{", R"([{"id":"x"}])", "{}", QByteArray("[\0]", 3)};
    for (const QByteArray &content : damaged) {
        m_store.reset();
        m_home.write(m_tasks, content);
        restart();
        EXPECT_TRUE(store().tasks().isEmpty());
        EXPECT_FALSE(m_home.exists(m_tasks));
        store().upsert(manualLine(u"m"_s, u"t"_s));
    }
    EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt.json"_s), damaged[0]);
    EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt-2.json"_s), damaged[1]);
    EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt-3.json"_s), damaged[2]);
    EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt-4.json"_s), damaged[3]);

    m_store.reset();
    m_home.write(m_tasks, "[]");
    restart();
    EXPECT_EQ(m_home.read(m_tasks), "[]"); // empty, but not damaged
}

TEST_F(TaskStoreTest, AFileThatCannotBeReadIsNotOverwritten)
{
    m_home.write(m_tasks, "[]  precious");
    const QByteArray path = QFile::encodeName(m_home.path(m_tasks));
    ::chmod(path.constData(), 0000);
    ::chmod(QFile::encodeName(m_home.path()).constData(), 0777);
    ::chmod(QFile::encodeName(m_home.path(u".tavvel"_s)).constData(), 0777);
    {
        const Unprivileged ordinaryUser;
        EXPECT_TRUE(store().tasks().isEmpty());
        store().upsert(manualLine(u"m"_s, u"t"_s));
        EXPECT_EQ(stored().size(), 1);
        m_store.reset();
    }
    EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt.json"_s), "[]  precious");
}

TEST_F(TaskStoreTest, ADamagedFileThatCannotBeMovedIsNotOverwritten)
{
    m_home.write(m_tasks, "{ precious");
    const QByteArray directory = QFile::encodeName(m_home.path(u".tavvel"_s));
    ::chmod(QFile::encodeName(m_home.path()).constData(), 0755);
    ::chmod(QFile::encodeName(m_home.path(m_tasks)).constData(), 0666);
    ::chmod(directory.constData(), 0555);
    {
        const Unprivileged ordinaryUser;
        testing::internal::CaptureStderr();
        store().upsert(manualLine(u"m1"_s, u"first"_s));
        EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("Plumtide: 保存 tasks.json 失败 — ", 0), 0u);
    }
    EXPECT_EQ(m_home.read(m_tasks), "{ precious");
    ::chmod(directory.constData(), 0755);
    store().upsert(manualLine(u"m2"_s, u"second"_s));
    EXPECT_EQ(stored().size(), 2);
    EXPECT_EQ(m_home.read(u".tavvel/tasks.corrupt.json"_s), "{ precious");
}

TEST_F(TaskStoreTest, AFailedSaveKeepsTheLinesAndTheNextChangeSavesThemAll)
{
    store().upsert(manualLine(u"m1"_s, u"first"_s));
    const QByteArray before = m_home.read(m_tasks);
    testing::internal::CaptureStderr();
    {
        const FileSizeLimit fullDisk(4096); // the captured log is a file, too
        store().upsert(manualLine(u"m2"_s, QString(5000, u'x')));
    }
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.rfind("Plumtide: 保存 tasks.json 失败 — ", 0), 0u) << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
    EXPECT_EQ(m_home.read(m_tasks), before);
    EXPECT_EQ(store().tasks().size(), 2);
    store().upsert(manualLine(u"m3"_s, u"third"_s));
    EXPECT_EQ(stored(), store().tasks());
    EXPECT_EQ(QDir(m_home.path(u".tavvel"_s)).entryList(QDir::Files | QDir::Hidden), QStringList{u"tasks.json"_s});
}

TEST_F(TaskStoreTest, EventsOfTheLogAreAppliedAndSurviveARestart)
{
    m_home.write(
        m_events,
        R"({"session_id":"S","hook_event_name":"UserPromptSubmit","cwd":"/a/shop","prompt":"rename it","tavvel_ts":1772876465})"
        "\n");
    ASSERT_TRUE(waitUntil([this] { return store().tasks().size() == 1; }));
    m_home.append(m_events,
                  R"({"session_id":"S","hook_event_name":"Stop","tavvel_ts":1772876466.5})"
                  "\n");
    ASSERT_TRUE(waitUntil([this] { return line().status == AgentTaskStatus::waiting; }));
    EXPECT_TRUE(store().hasSeenClaudeEvent());
    EXPECT_FALSE(store().hasSeenCodexEvent());
    const QList<AgentTask> before = stored();
    EXPECT_EQ(before.first().updatedAt, QDateTime::fromSecsSinceEpoch(1772876466, Qt::UTC));

    m_store.reset();
    m_home.append(m_events,
                  R"({"session_id":"S","hook_event_name":"SessionEnd","tavvel_ts":1772876470})"
                  "\n");
    restart();
    EXPECT_EQ(store().tasks(), before);
    ASSERT_TRUE(waitUntil([this] { return line().status == AgentTaskStatus::done; }));
    EXPECT_EQ(stored(), store().tasks());
}

TEST_F(TaskStoreTest, FinishingAppliesAllThatTheWatcherTook)
{
    QByteArray log;
    constexpr int count = 3000; // far more than may be on their way at once
    for (int i = 0; i < count; ++i)
        log += R"({"session_id":"S)" + QByteArray::number(i % 50)
            + R"(","hook_event_name":"UserPromptSubmit","prompt":"prompt )" + QByteArray::number(i)
            + "\",\"tavvel_ts\":" + QByteArray::number(1'772'876'000 + i) + "}\n";
    m_home.write(m_events, log);
    store();
    ASSERT_TRUE(waitUntil([this] { return store().tasks().size() > 5; }));
    m_store->finish();
    const auto offset = static_cast<qint64>(m_home.defaults()->number(u"tavvel.events.offset"_s).value_or(0));
    ASSERT_LT(offset, log.size());
    const qint64 taken = log.first(offset).count('\n');
    QDateTime last;
    for (const AgentTask &task : stored())
        last = qMax(last, task.updatedAt);
    EXPECT_EQ(last.toSecsSinceEpoch(), 1'772'876'000 + taken - 1);

    // And the next start does the rest.
    restart();
    EXPECT_TRUE(waitUntil([this] {
        const QList<AgentTask> tasks = store().tasks();
        return std::any_of(tasks.begin(), tasks.end(), [](const AgentTask &task) {
            return task.updatedAt.toSecsSinceEpoch() == 1'772'876'000 + count - 1;
        });
    }));
}

TEST_F(TaskStoreTest, SeenFlagsComeFromTheDefaultsTheLogAndTheEvents)
{
    m_home.write(m_events,
                 "broken\n{}\n"
                 R"({"hook_event_name":"\u0043odexTurnComplete"})"
                 "\n");
    m_home.defaults()->setNumber(u"tavvel.events.offset"_s, 1'000'000); // nothing of it is new
    EXPECT_TRUE(store().hasSeenCodexEvent());
    EXPECT_FALSE(store().hasSeenClaudeEvent());
    apply("SomethingElse");
    EXPECT_TRUE(store().hasSeenClaudeEvent());
    EXPECT_TRUE(store().tasks().isEmpty());
    QFile::remove(m_home.path(m_events));
    restart();
    EXPECT_TRUE(store().hasSeenClaudeEvent());
    EXPECT_TRUE(store().hasSeenCodexEvent());
    const QByteArray defaults = m_home.read(u".config/plumtide/plumtide.conf"_s);
    EXPECT_TRUE(defaults.contains("\ntavvel.claude.hasSeenEvent=true\n")) << defaults.constData();
    EXPECT_TRUE(defaults.contains("\ntavvel.codex.hasSeenEvent=true\n")) << defaults.constData();
}

TEST_F(TaskStoreTest, ASecondStoreOfTheSameDataTouchesNothing)
{
    store().upsert(manualLine(u"m"_s, u"t"_s));
    const QByteArray before = m_home.read(m_tasks);
    {
        TaskStore second(m_home.environment());
        EXPECT_FALSE(second.isOwner());
        m_home.append(m_events,
                      R"({"session_id":"S","hook_event_name":"UserPromptSubmit"})"
                      "\n");
        second.upsert(manualLine(u"other"_s, u"t"_s));
        second.sweep();
        ASSERT_TRUE(waitUntil([this] { return store().tasks().size() == 2; }));
        EXPECT_EQ(second.tasks().size(), 1);
        EXPECT_NE(m_home.read(m_tasks), before);
        EXPECT_EQ(stored(), store().tasks());
    }
    m_store.reset();
    EXPECT_TRUE(TaskStore(m_home.environment()).isOwner());
}

TEST_F(TaskStoreTest, TextsAndTimesThatCouldNotBeReadBackAreTamedOnEveryWayIn)
{
    AgentTask task = manualLine(u"m"_s, QString(QChar(0xD83D)) + QChar(u'\0'));
    task.updatedAt = QDateTime({12'000, 1, 1}, {0, 0}, Qt::UTC);
    store().setTasks({task});
    task.id = u"m2"_s;
    store().upsert(task);
    store().apply(*HookEvent::decode(
        R"({"session_id":"\ud800","hook_event_name":"UserPromptSubmit","cwd":"/\udfff","prompt":"hello\u0000 \ud83d","tavvel_ts":1e300})"));
    EXPECT_EQ(store().tasks().size(), 3);
    const QList<AgentTask> before = stored();
    restart();
    EXPECT_EQ(store().tasks(), before);
    EXPECT_EQ(before.at(0).title, u"\uFFFD\uFFFD"_s);
    EXPECT_EQ(before.at(2).project, u"\uFFFD"_s);
    EXPECT_EQ(before.at(2).updatedAt, m_home.now);
}

TEST_F(TaskStoreTest, EveryChangeIsAnnouncedBeforeItHappens)
{
    QList<qsizetype> sizes;
    QObject::connect(&store(), &TaskStore::objectWillChange, [&] { sizes.append(store().tasks().size()); });
    store().upsert(manualLine(u"m"_s, u"t"_s));
    store().setStatus(u"m"_s, AgentTaskStatus::done);
    store().setStatus(u"unknown"_s, AgentTaskStatus::done);
    store().setSourceFilter(TaskSource::codex);
    store().setTasks({});
    EXPECT_EQ(sizes, (QList<qsizetype>{0, 1, 1, 1, 1}));
}
