// The program as its user runs it: the real executable, the deployed hook scripts and the payloads of the two real
// agent tools, in a home of its own.
#include "Plumtide/model/AgentTask.h"
#include "Plumtide/store/TaskFile.h"
#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"

#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

const QString recordings = QStringLiteral(PLUMTIDE_TEST_DATA_DIR "/recordings");

class EngineTest : public testing::Test
{
protected:
    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_CONFIG_HOME",
                                 "XDG_RUNTIME_DIR", "QT_QPA_PLATFORM", "PLUMTIDE_RESOURCES"})
            environment.remove(QString::fromLatin1(name));
        environment.insert(u"HOME"_s, home());
        return environment;
    }

    virtual QString home() const { return m_home.path(); }

    std::unique_ptr<QProcess> start(const QStringList &arguments = {},
                                    const QString &program = QStringLiteral(PLUMTIDE_PROGRAM))
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(environment());
        process->start(program, arguments);
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }

    // Runs to the end; what it printed.
    QByteArray run(const QStringList &arguments, const QString &program = QStringLiteral(PLUMTIDE_PROGRAM))
    {
        const std::unique_ptr<QProcess> process = start(arguments, program);
        EXPECT_TRUE(process->waitForFinished(60'000));
        EXPECT_EQ(process->exitStatus(), QProcess::NormalExit) << process->readAllStandardError().constData();
        EXPECT_EQ(process->exitCode(), 0);
        return process->readAllStandardOutput();
    }

    static void end(QProcess &process, int signal = SIGTERM)
    {
        ASSERT_EQ(process.state(), QProcess::Running) << process.readAllStandardError().constData();
        ::kill(static_cast<pid_t>(process.processId()), signal);
        ASSERT_TRUE(process.waitForFinished(60'000));
        ASSERT_EQ(process.exitStatus(), QProcess::NormalExit) << process.readAllStandardError().constData();
        EXPECT_EQ(process.exitCode(), 0);
    }

    // Returns when no thread of it runs any more.
    static void stop(const QProcess &process)
    {
        ::kill(static_cast<pid_t>(process.processId()), SIGSTOP);
        const QString threads = u"/proc/%1/task"_s.arg(process.processId());
        ASSERT_TRUE(waitUntil([&] {
            const QStringList ids = QDir(threads).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
            return std::all_of(ids.begin(), ids.end(), [&](const QString &id) {
                QFile status(threads + u'/' + id + u"/stat"_s);
                return status.open(QIODevice::ReadOnly) && status.readAll().contains(") T ");
            });
        }));
    }

    // As the agents do it.
    void runHook(const QString &shellCommand, const QByteArray &payload)
    {
        QProcess hook;
        hook.setProcessEnvironment(environment());
        hook.start(u"/bin/sh"_s, {u"-c"_s, shellCommand});
        hook.write(payload);
        hook.closeWriteChannel();
        ASSERT_TRUE(hook.waitForFinished());
        EXPECT_EQ(hook.exitCode(), 0);
        EXPECT_EQ(hook.readAllStandardOutput() + hook.readAllStandardError(), "");
    }

    // The command that the installation registered.
    QString hookCommand() const
    {
        const QJsonObject settings = QJsonDocument::fromJson(read(u".claude/settings.json"_s)).object();
        return settings["hooks"_L1]["Stop"_L1][0]["hooks"_L1][0]["command"_L1].toString();
    }

    QByteArray read(const QString &name) const
    {
        QFile file(home() + u'/' + name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // What a reader sees; a file that is not whole fails the test.
    QList<AgentTask> stored() const
    {
        const QByteArray content = read(u".tavvel/tasks.json"_s);
        if (content.isEmpty())
            return {};
        const std::optional<QList<AgentTask>> lines = TaskFile::decode(content);
        EXPECT_TRUE(lines) << content.left(400).constData();
        return lines.value_or(QList<AgentTask>());
    }

    double offset() const
    {
        return Defaults(home() + u"/.config/plumtide/plumtide.conf"_s).number(u"tavvel.events.offset"_s).value_or(0);
    }

    bool hasReadAll() const
    {
        return offset() == static_cast<double>(QFileInfo(home() + u"/.tavvel/events.jsonl"_s).size());
    }

    TestHome m_home;
};

// One line of the board in short, without times.
QString brief(const AgentTask &line)
{
    QStringList entries;
    for (const QString &entry : line.recentEvents)
        entries.append(entry.sliced(6));
    return QStringList{line.id.left(11),
                       storedText(line.source),
                       line.project,
                       storedText(line.status),
                       line.title,
                       line.currentState,
                       line.waitingReason.value_or(u"-"_s),
                       entries.join(u" / "_s)}
        .join(u" | "_s);
}

QByteArray event(const QByteArray &session, const QByteArray &name, int number)
{
    return R"({"session_id":")" + session + R"(","hook_event_name":")" + name
        + R"(","cwd":"/p/shop","prompt":"prompt number )" + QByteArray::number(number) + R"(","tavvel_ts":)"
        + QByteArray::number(1'795'520'000 + number) + "}\n";
}

} // namespace

TEST_F(EngineTest, RecordedSessionsOfBothToolsBecomeTheRightBoardLiveAndAfterARestart)
{
    m_home.write(u".codex/config.toml"_s, "model = \"x\"\n");
    std::unique_ptr<QProcess> program = start();
    const QByteArray printed = run({u"--install-hooks"_s});
    EXPECT_EQ(printed,
              "Claude Code 接好了。重新打开一个会话，再发一条消息就能看到。\nCodex 接好了，重启 Codex 后就生效。\n");

    // All payloads of one session in their order; the tool runs only the registered events.
    const QStringList registered{u"SessionStart"_s, u"UserPromptSubmit"_s, u"PermissionRequest"_s, u"PostToolUse"_s,
                                 u"Stop"_s,         u"SessionEnd"_s};
    const QString command = hookCommand();
    const QStringList sessions =
        QDir(recordings + u"/claude"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    ASSERT_GE(sessions.size(), 10);
    for (const QString &session : sessions) {
        const QDir directory(recordings + u"/claude/"_s + session);
        for (const QString &name : directory.entryList({u"[0-9]*.json"_s}, QDir::Files, QDir::Name)) {
            if (!registered.contains(name.sliced(3).chopped(5)))
                continue;
            QFile payload(directory.filePath(name));
            ASSERT_TRUE(payload.open(QIODevice::ReadOnly));
            runHook(command, payload.readAll() + '\n');
        }
    }
    QDirIterator codex(recordings + u"/codex"_s, {u"*.json"_s}, QDir::Files, QDirIterator::Subdirectories);
    QStringList notifications;
    while (codex.hasNext())
        notifications.append(codex.next());
    notifications.sort();
    ASSERT_EQ(notifications.size(), 6);
    for (const QString &name : notifications) {
        QFile payload(name);
        ASSERT_TRUE(payload.open(QIODevice::ReadOnly));
        QProcess notify;
        notify.setProcessEnvironment(environment());
        notify.start(home() + u"/.tavvel/hooks/codex-notify.sh"_s, {QString::fromUtf8(payload.readAll())});
        ASSERT_TRUE(notify.waitForFinished());
        EXPECT_EQ(notify.exitCode(), 0);
    }

    QFile expectedFile(QStringLiteral(PLUMTIDE_TEST_DATA_DIR "/program/recorded-board.txt"));
    ASSERT_TRUE(expectedFile.open(QIODevice::ReadOnly));
    const QString expected = QString::fromUtf8(expectedFile.readAll());
    const auto board = [this] {
        QString text;
        for (const AgentTask &line : stored())
            text += brief(line) + u'\n';
        return text;
    };
    waitUntil([&] { return board() == expected; }, 10'000);
    EXPECT_EQ(board(), expected);
    end(*program);
    program = start();
    waitUntil([&] { return false; }, 500);
    EXPECT_EQ(board(), expected);
    EXPECT_TRUE(hasReadAll());
    // And it goes on with the lines that it found.
    QFile stop(recordings + u"/claude/interactive-killed/03-Stop.json"_s);
    ASSERT_TRUE(stop.open(QIODevice::ReadOnly));
    runHook(command, stop.readAll());
    EXPECT_TRUE(waitUntil([&] { return hasReadAll() && stored().size() == expected.count(u'\n'); }));
    end(*program);
}

TEST_F(EngineTest, KilledAtRandomMomentsOfABurstTheFileIsWholeAndTheNextStartGoesOn)
{
    constexpr int sessions = 40;
    constexpr int rounds = 12;
    int number = 0;
    for (int round = 0; round < rounds; ++round) {
        std::unique_ptr<QProcess> program = start();
        QByteArray burst;
        for (int i = 0; i < 400; ++i, ++number)
            burst += event("S" + QByteArray::number(number % sessions), number % 3 ? "PostToolUse" : "UserPromptSubmit",
                           number);
        m_home.append(u".tavvel/events.jsonl"_s, burst);
        // Some while it starts, most while it works.
        const double before = offset();
        const int delay = QRandomGenerator::global()->bounded(120);
        if (round % 4 != 0)
            waitUntil([&] { return offset() > before; });
        waitUntil([] { return false; }, delay);
        ::kill(static_cast<pid_t>(program->processId()), SIGKILL);
        ASSERT_TRUE(program->waitForFinished());
        const qsizetype lines = stored().size(); // checks that the file is whole
        EXPECT_TRUE(lines > 0 || round < 3) << "killed after " << delay << " ms";
    }
    EXPECT_FALSE(m_home.exists(u".tavvel/tasks.corrupt.json"_s));

    // Every session ends, and the program, left alone, closes every line.
    QByteArray ends;
    for (int i = 0; i < sessions; ++i) {
        for (const char *name : {"UserPromptSubmit", "SessionEnd"})
            ends += event("S" + QByteArray::number(i), name, ++number);
    }
    m_home.append(u".tavvel/events.jsonl"_s, ends);
    std::unique_ptr<QProcess> program = start();
    EXPECT_TRUE(waitUntil([&] {
        const QList<AgentTask> lines = stored();
        return lines.size() == sessions && std::all_of(lines.begin(), lines.end(), [](const AgentTask &line) {
                   return line.status == AgentTaskStatus::done;
               });
    }));
    end(*program);
    EXPECT_TRUE(hasReadAll());
    const QStringList left = QDir(m_home.path(u".tavvel"_s)).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    EXPECT_EQ(left, (QStringList{u"events.jsonl"_s, u"tasks.json"_s}));
}

TEST_F(EngineTest, ASecondStartLeavesTheFirstAlone)
{
    std::unique_ptr<QProcess> first = start();
    m_home.append(u".tavvel/events.jsonl"_s, event("A", "UserPromptSubmit", 1));
    ASSERT_TRUE(waitUntil([&] { return stored().size() == 1; }));
    const QByteArray before = read(u".tavvel/tasks.json"_s);

    stop(*first); // so that only the second could read the log
    m_home.append(u".tavvel/events.jsonl"_s, event("B", "UserPromptSubmit", 2));
    const double offsetBefore = offset();
    const std::unique_ptr<QProcess> second = start();
    ASSERT_TRUE(second->waitForFinished());
    EXPECT_EQ(second->exitCode(), 0);
    EXPECT_EQ(second->readAllStandardError().count('\n'), 2); // no display, and already running
    EXPECT_EQ(run({u"--install-hooks"_s}).count('\n'), 2);
    EXPECT_EQ(read(u".tavvel/tasks.json"_s), before);
    EXPECT_EQ(offset(), offsetBefore);
    ::kill(static_cast<pid_t>(first->processId()), SIGCONT);
    EXPECT_TRUE(waitUntil([&] { return stored().size() == 2; }));
    end(*first);
}

TEST_F(EngineTest, InstallingAloneLosesNoEventOfABacklog)
{
    QByteArray log;
    constexpr int sessions = 3000;
    for (int i = 0; i < sessions; ++i)
        log += event("S" + QByteArray::number(i), "UserPromptSubmit", i);
    m_home.write(u".tavvel/events.jsonl"_s, log);
    run({u"--install-hooks"_s});
    // What it took is stored; the rest is still to come.
    const qint64 taken = log.first(static_cast<qsizetype>(offset())).count('\n');
    EXPECT_EQ(stored().size(), taken);
    std::unique_ptr<QProcess> program = start();
    EXPECT_TRUE(waitUntil([&] { return stored().size() == sessions; }, 120'000));
    end(*program);
}

TEST_F(EngineTest, EndsCleanlyOnEachSignalAndSaysThatThereIsNoDisplay)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        std::unique_ptr<QProcess> program = start();
        m_home.append(u".tavvel/events.jsonl"_s, event("S" + QByteArray::number(signal), "UserPromptSubmit", signal));
        ASSERT_TRUE(waitUntil(
            [&] { return !stored().isEmpty() && stored().last().id == u"cc-S"_s + QString::number(signal); }));
        end(*program, signal);
        EXPECT_EQ(program->readAllStandardError(),
                  QStringLiteral("Plumtide: 没有可用的图形界面，在后台继续运行，不显示窗口。\n").toUtf8());
    }
}

TEST_F(EngineTest, QtsOwnArgumentsAreIgnored)
{
    auto program = std::make_unique<QProcess>();
    QProcessEnvironment withDisplay = environment();
    withDisplay.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    program->setProcessEnvironment(withDisplay);
    program->start(QStringLiteral(PLUMTIDE_PROGRAM), {u"-platform"_s, u"nonsense"_s, u"--install-hooks=1"_s});
    ASSERT_TRUE(program->waitForStarted());
    m_home.append(u".tavvel/events.jsonl"_s, event("S", "UserPromptSubmit", 1));
    EXPECT_TRUE(waitUntil([&] { return stored().size() == 1; }));
    end(*program);
}

TEST_F(EngineTest, TheBareExecutableSaysThatItHasNoScripts)
{
    const QString bare = m_home.path(u"plumtide"_s);
    ASSERT_TRUE(QFile::copy(QStringLiteral(PLUMTIDE_PROGRAM), bare));
    const QStringList lines = QString::fromUtf8(run({u"ignored"_s, u"--install-hooks"_s, u"-x"_s}, bare)).split(u'\n');
    EXPECT_EQ(lines.value(0), u"接入失败：app 包里没有 hooks 资源（开发构建请用仓库里的 scripts/install-hooks.py）"_s);
    EXPECT_EQ(lines.value(1), u"没找到 Codex 配置文件：~/.codex/config.toml"_s);
    EXPECT_EQ(lines.size(), 3);
    EXPECT_FALSE(m_home.exists(u".claude"_s));

    // The script that the sentence names does work with it.
    QProcess script;
    script.setProcessEnvironment(environment());
    script.start(QStringLiteral(PLUMTIDE_SOURCE_DIR "/scripts/install-hooks.py"), {bare});
    ASSERT_TRUE(script.waitForFinished());
    EXPECT_EQ(script.exitCode(), 0);
    EXPECT_TRUE(m_home.exists(u".tavvel/hooks/tavvel-hook.sh"_s)) << script.readAllStandardError().constData();
}

TEST_F(EngineTest, AnInstalledProgramFindsItsScriptsUnderItsPrefix)
{
    const QString program = m_home.path(u"usr/bin/plumtide"_s);
    ASSERT_TRUE(QDir().mkpath(m_home.path(u"usr/bin"_s)));
    ASSERT_TRUE(QFile::copy(QStringLiteral(PLUMTIDE_PROGRAM), program));
    m_home.write(u"usr/share/plumtide/hooks/tavvel-hook.sh"_s, "#!/bin/sh\n# installed\n");
    run({u"--install-hooks"_s}, program);
    EXPECT_EQ(m_home.read(u".tavvel/hooks/tavvel-hook.sh"_s), "#!/bin/sh\n# installed\n");
}

TEST_F(EngineTest, TheHookTakesTheTimeBeforeItHasReadEverything)
{
    run({u"--install-hooks"_s});
    QProcess hook;
    hook.setProcessEnvironment(environment());
    hook.start(u"/bin/sh"_s, {u"-c"_s, hookCommand()});
    hook.write(R"({"session_id":"S","hook_event_name":"Stop",)");
    ASSERT_TRUE(hook.waitForBytesWritten());
    const qint64 second = QDateTime::currentSecsSinceEpoch();
    waitUntil([&] { return QDateTime::currentSecsSinceEpoch() > second + 1; });
    hook.write(R"("cwd":"/p"})");
    hook.closeWriteChannel();
    ASSERT_TRUE(hook.waitForFinished());
    const double time = QJsonDocument::fromJson(read(u".tavvel/events.jsonl"_s)).object()["tavvel_ts"_L1].toDouble();
    EXPECT_LE(time, static_cast<double>(second) + 1.5);
    EXPECT_GT(time, static_cast<double>(second) - 60);
}

namespace {

class OddHomeTest : public EngineTest, public testing::WithParamInterface<const char *>
{
protected:
    QString home() const override { return m_home.path(QString::fromUtf8(GetParam())); }
};

} // namespace

TEST_P(OddHomeTest, HooksWorkWhateverTheHomeIsCalled)
{
    ASSERT_TRUE(QDir().mkpath(home()));
    std::unique_ptr<QProcess> program = start();
    run({u"--install-hooks"_s});
    runHook(hookCommand(),
            R"({"session_id":"S","hook_event_name":"UserPromptSubmit","cwd":"/p/shop","prompt":"hello there"})");
    EXPECT_TRUE(waitUntil([&] { return stored().size() == 1; })) << qPrintable(hookCommand());
    end(*program);
}

INSTANTIATE_TEST_SUITE_P(Names, OddHomeTest,
                         testing::Values("plain", "with space", "it's", "(paren)", "$HOME", "a\"b", "back\\slash",
                                         "家"));
