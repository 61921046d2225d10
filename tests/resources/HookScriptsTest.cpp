// The deployed hook scripts, run as the agents run them: under every common shell and awk, with nothing but
// those and a handful of POSIX tools on the PATH.
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestLine = 4096; // bytes with the line feed: what every awk writes at once

struct Combination
{
    const char *shell;
    const char *shellArgument;
    const char *awk;
    size_t share = 0; // of the recordings: each combination gets a tenth of them, to save time
};
constexpr size_t shares = 10;

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size()) << qPrintable(path);
}

QJsonObject object(const QByteArray &json)
{
    return QJsonDocument::fromJson(json).object();
}

/// The recorded payloads of one agent whose file names match `filter`.
std::vector<QByteArray> recordings(const QString &agent, const QString &filter)
{
    std::vector<QByteArray> payloads;
    QDirIterator files(QStringLiteral(PLUMTIDE_TEST_DATA_DIR "/recordings/") + agent, {filter}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext())
        payloads.push_back(contents(files.next()));
    return payloads;
}

/// What the log has to say about a payload of Claude Code, short of the time.
QJsonObject logged(const QJsonObject &payload)
{
    QJsonObject line;
    for (const auto &key : {u"session_id"_s, u"hook_event_name"_s, u"cwd"_s, u"tool_name"_s, u"prompt"_s})
        if (payload[key].isString() && !payload[key].toString().startsWith(u"<task-notification>"))
            line[key] = payload[key];
    if (payload[u"tool_input"].isObject()) {
        QJsonObject input;
        for (const auto &key :
             {u"command"_s, u"file_path"_s, u"path"_s, u"pattern"_s, u"url"_s, u"description"_s, u"prompt"_s})
            if (payload[u"tool_input"][key].isString())
                input[key] = payload[u"tool_input"][key];
        line[u"tool_input"_s] = input;
    }
    return line;
}

class HookScripts : public testing::TestWithParam<Combination>
{
protected:
    void SetUp() override
    {
        const auto shell = QStandardPaths::findExecutable(QString::fromLatin1(GetParam().shell));
        const auto awk = QStandardPaths::findExecutable(QString::fromLatin1(GetParam().awk));
        if (shell.isEmpty() || awk.isEmpty())
            GTEST_SKIP() << GetParam().shell << " or " << GetParam().awk << " is not installed";
        ASSERT_TRUE(QDir().mkpath(m_hooks) && QDir().mkpath(m_tools));
        ASSERT_TRUE(QFile::link(awk, m_tools + u"/awk"_s));
        for (const auto &tool : {u"mkdir"_s, u"find"_s, u"rm"_s})
            ASSERT_TRUE(QFile::link(QStandardPaths::findExecutable(tool), m_tools + u'/' + tool));
        m_shebang = "#!" + shell.toLocal8Bit() + GetParam().shellArgument + '\n';
        for (const auto &name : {u"/tavvel-hook.sh"_s, u"/codex-notify.sh"_s})
            deploy(name, m_hooks);
        m_environment.insert(u"PATH"_s, m_tools);
        m_environment.insert(u"HOME"_s, u"/nonexistent"_s);
        m_environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    }

    void deploy(const QString &name, const QString &directory)
    {
        QByteArray script = contents(QStringLiteral(PLUMTIDE_HOOKS_DIR) + name);
        ASSERT_TRUE(script.startsWith("#!/bin/sh\n"));
        program(directory + name, script.mid(10));
    }

    void program(const QString &path, const QByteArray &body)
    {
        write(path, m_shebang + body);
        ASSERT_EQ(chmod(QFile::encodeName(path), 0755), 0);
    }

    std::unique_ptr<QProcess> start(const QString &script, const QStringList &arguments, const QByteArray &input)
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(m_environment);
        process->setWorkingDirectory(m_directory.path());
        process->setChildProcessModifier([limit = m_fileSizeLimit] {
            umask(0);
            const rlimit size{limit, limit}, none{0, 0};
            setrlimit(RLIMIT_FSIZE, &size);
            setrlimit(RLIMIT_CORE, &none);
        });
        process->start(script, arguments);
        process->write(input);
        process->closeWriteChannel();
        return process;
    }

    static void finish(QProcess &process)
    {
        ASSERT_TRUE(process.waitForFinished(20'000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 0);
        EXPECT_EQ(process.readAllStandardOutput(), QByteArray());
        EXPECT_EQ(process.readAllStandardError(), QByteArray());
    }

    void claude(const QByteArray &payload) { finish(*start(m_hooks + u"/tavvel-hook.sh"_s, {}, payload)); }
    void codex(const QStringList &arguments) { finish(*start(m_hooks + u"/codex-notify.sh"_s, arguments, {})); }

    /// The lines logged since the last call, each checked for form and time and without the latter.
    std::vector<QJsonObject> takeLines()
    {
        std::vector<QJsonObject> lines;
        QByteArray text = contents(m_log);
        QFile::remove(m_log);
        EXPECT_TRUE(text.isEmpty() || text.endsWith('\n'));
        text.chop(1);
        for (const auto &line : text.isEmpty() ? QList<QByteArray>() : text.split('\n')) {
            QJsonParseError error;
            auto event = QJsonDocument::fromJson(line, &error).object();
            EXPECT_EQ(error.error, QJsonParseError::NoError) << line.constData();
            EXPECT_LT(line.size(), longestLine);
            const double time = event.take(u"tavvel_ts"_s).toDouble();
            const double age = double(QDateTime::currentSecsSinceEpoch()) - time;
            EXPECT_TRUE(age > -2 && age < 60) << line.constData();
            lines.push_back(event);
        }
        return lines;
    }

    void expectLine(const std::optional<QJsonObject> &expected, const QByteArray &what)
    {
        const auto lines = takeLines();
        ASSERT_EQ(lines.size(), expected ? 1u : 0u) << what.left(300).constData();
        EXPECT_TRUE(!expected || lines[0] == *expected)
            << what.left(300).constData() << "\ngave " << QJsonDocument(lines[0]).toJson().constData();
    }

    QTemporaryDir m_directory;
    const QString m_data = m_directory.path() + u"/a \"_shome\" of 'his'/.tavvel"_s;
    const QString m_hooks = m_data + u"/hooks"_s;
    const QString m_log = m_data + u"/events.jsonl"_s;
    const QString m_tools = m_directory.path() + u"/tools"_s;
    QByteArray m_shebang;
    QProcessEnvironment m_environment;
    rlim_t m_fileSizeLimit = RLIM_INFINITY;
};

TEST_P(HookScripts, LogsTheMembersTheBoardReadsOfOneJsonObject)
{
    const QByteArray deep = QByteArray(20'000, '[') + QByteArray(20'000, ']');
    const struct
    {
        const char *name;
        QByteArray payload;
        const char *line = nullptr; // nothing is logged
    } cases[] = {
        {"empty object", " {}\r\n", "{}"},
        {"laid out over lines with CRLF", "{\r\n\t\"session_id\" : \"s\",\r\n \"x\": [ 1, -2.5e+3, null ]\r\n}\r\n",
         R"({"session_id":"s"})"},
        {"the same names deeper down",
         R"({"tool_response":{"cwd":"no","tool_input":{"url":"no"}},"x":[{"cwd":"no"}],)"
         R"("tool_input":{"deep":{"path":"no"},"list":[{"url":"no"}],"url":"u","old":"no"}})",
         R"({"tool_input":{"url":"u"}})"},
        {"a name that looks like a path", R"({"tool_input.url":"no"})", "{}"},
        {"quotes, braces and backslashes in texts", R"({"prompt":"{\"a\":[\\","x":"\\\"}","assistant":"\\\\\""})",
         R"({"prompt":"{\"a\":[\\","assistant":"\\\\\""})"},
        {"names with escapes", R"({"\u0063w\u0064":"/a","\\u0063wd":"no"})", R"({"cwd":"/a"})"},
        {"a time of its own", R"({"tavvel_ts":1,"cwd":""})", R"({"cwd":""})"},
        {"the last of equal names counts",
         R"({"cwd":"no","tool_input":{"url":"no"},"cwd":"/b","tool_name":"no","tool_name":1,)"
         R"("tool_input":{"path":"no","path":"p"}})",
         R"({"cwd":"/b","tool_input":{"path":"p"}})"},
        {"other types are left out", R"({"session_id":5,"prompt":null,"tool_input":["command"],"cwd":["/a"]})", "{}"},
        {"only texts of the tool input", R"({"tool_input":{"command":1,"path":"","url":{"path":"no"}}})",
         R"({"tool_input":{"path":""}})"},
        {"a lone surrogate and other text", R"({"prompt":"\ud83d","assistant":"你好 \u00e9"})",
         R"({"prompt":"\ud83d","assistant":"你好 é"})"},
        {"deep nesting", R"({"x":)" + deep + R"(,"cwd":"/a"})", R"({"cwd":"/a"})"},
        {"the agent's own prompt", R"({"prompt":"<task-notification>\nx","cwd":"/a"})", R"({"cwd":"/a"})"},
        {"the agent's own prompt with escapes", R"({"prompt":"\u003Ctask\u002dnotification\u003e"})", "{}"},
        {"a prompt about such a prompt", R"({"prompt":"a <task-notification>"})",
         R"({"prompt":"a <task-notification>"})"},
        {"nothing", ""},
        {"blank", "\n"},
        {"array", R"([{"cwd":"/a"}])"},
        {"bare string", R"("cwd")"},
        {"cut in a string", R"({"cwd":"/a)"},
        {"cut after a string", R"({"cwd":"/a")"},
        {"cut after a number", R"({"cwd":"/a","x":1)"},
        {"trailing word", R"({"cwd":"/a"} x)"},
        {"trailing string", R"({"cwd":"/a"} "x")"},
        {"two objects", R"({"cwd":"/a"}{})"},
        {"closed twice", R"({"cwd":"/a"}})"},
        {"brackets that do not match", R"({"x":[},"cwd":"/a"]})"},
        {"no colon", R"({"cwd" "/a"})"},
        {"no comma", R"({"cwd":"/a""x":1})"},
        {"comma at the end", R"({"cwd":"/a",})"},
        {"not a number", R"({"cwd":"/a","x":01})"},
        {"not a word of JSON", R"({"cwd":"/a","x":nil})"},
        {"nan", R"({"cwd":"/a","x":nan})"},
        {"a number that nobody writes", R"({"cwd":"/a","x":)" + QByteArray(500, '1') + "}"},
        {"-inf", R"({"cwd":"/a","x":-inf})"},
        {"raw line feed in a text", "{\"cwd\":\"/a\nb\"}"},
        {"unknown escape", R"({"cwd":"/a\x"})"},
        {"half an escape", R"({"cwd":"/a\u12"})"},
    };
    for (const auto &[name, payload, line] : cases) {
        SCOPED_TRACE(name);
        claude(payload);
        expectLine(line ? std::optional(object(line)) : std::nullopt, payload);
    }
}

TEST_P(HookScripts, ManyAtOnceEachLogOneWholeLine)
{
    auto payloads = recordings(u"claude"_s, u"[0-9]*.json"_s);
    ASSERT_GT(payloads.size(), 90u);
    for (size_t i = 0; i < payloads.size(); ++i)
        if (i % shares == GetParam().share)
            std::swap(payloads[i / shares], payloads[i]);
    payloads.resize(payloads.size() / shares);
    while (payloads.size() < 40) // the rest gives lines of nearly the greatest length
        payloads.push_back(R"({"prompt":")" + QByteArray(2000, 'p') + R"(","cwd":")" + QByteArray(1900, 'c')
                           + R"(","tool_response":")" + QByteArray(20'000, 'r') + "\"}\n");
    std::vector<QByteArray> expected, actual;
    for (const auto &payload : payloads)
        expected.push_back(QJsonDocument(logged(object(payload))).toJson(QJsonDocument::Compact));

    std::vector<std::unique_ptr<QProcess>> running;
    for (const auto &payload : payloads)
        running.push_back(start(m_hooks + u"/tavvel-hook.sh"_s, {}, payload));
    for (const auto &process : running)
        finish(*process);
    for (const auto &line : takeLines())
        actual.push_back(QJsonDocument(line).toJson(QJsonDocument::Compact));
    std::sort(expected.begin(), expected.end());
    std::sort(actual.begin(), actual.end());
    EXPECT_EQ(actual, expected);
}

TEST_P(HookScripts, LongTextsAreCutBetweenCharacters)
{
    // Each text begins with another number of letters, so that the cut falls on every place in a character.
    const QStringList inputs{u"command"_s, u"file_path"_s,   u"path"_s,  u"pattern"_s,
                             u"url"_s,     u"description"_s, u"prompt"_s};
    const QStringList others{u"session_id"_s, u"tool_name"_s, u"prompt"_s, u"assistant"_s, u"cwd"_s};
    for (const char *character : {"x", "é", "中", "🎉", R"(\u4e2d)", R"(\ud83c\udf89)", R"(\")", R"(\\)", R"(\/)"}) {
        SCOPED_TRACE(character);
        QByteArray payload = R"({"tool_input":{"x":"")";
        const auto add = [&](const QString &name) {
            static int letters = 0;
            payload += ",\"" + name.toUtf8() + "\":\"" + QByteArray(letters++ % 12, 'a')
                + QByteArray(character).repeated(5000) + '"';
        };
        std::for_each(inputs.begin(), inputs.end(), add);
        payload += '}';
        std::for_each(others.begin(), others.end(), add);
        payload += '}';
        claude(payload);

        auto lines = takeLines();
        ASSERT_EQ(lines.size(), 1u);
        auto whole = object(payload), cut = lines[0];
        const auto check = [](const QJsonValue &all, const QJsonValue &part, bool keepsEnd) {
            const auto text = part.toString();
            EXPECT_GT(text.size(), 40);
            EXPECT_TRUE(keepsEnd ? all.toString().endsWith(text) : all.toString().startsWith(text));
            EXPECT_FALSE(text.front().isLowSurrogate() || text.back().isHighSurrogate());
        };
        for (const auto &name : inputs)
            check(whole[u"tool_input"][name], cut[u"tool_input"][name], false);
        for (const auto &name : others)
            check(whole[name], cut[name], name == u"cwd");
    }
}

TEST_P(HookScripts, MegabytesLeaveAShortPrivateLineQuickly)
{
    const auto source = QByteArray(R"(    print(\"\\n\", x)\n)").repeated(80'000);
    const auto path = "/" + QByteArray("directory/").repeated(2'000) + "shop";
    const QByteArray backslashes(500'000, '\\');
    QElapsedTimer timer;
    timer.start();
    const auto numbers = "[" + QByteArray("1, ").repeated(99'999) + "1]";
    for (const auto &payload : {
             R"({"cwd":")" + path + R"(","prompt":")" + source + R"(","x":")" + source + "\"}",
             R"({"cwd":"/)" + source + R"(/shop","tool_response":)" + numbers + "}",
             R"({"x":")" + backslashes + R"( \"","cwd":"/)" + backslashes + R"( \"/shop"})",
         }) {
        claude(payload);
        struct stat status = {};
        ASSERT_EQ(stat(QFile::encodeName(m_log), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600u);
        EXPECT_LE(status.st_size, longestLine);
        const auto lines = takeLines();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_TRUE(lines[0][u"cwd"].toString().endsWith(u"/shop"));
    }
    EXPECT_LT(timer.elapsed(), 15'000); // normally about one second
}

TEST_P(HookScripts, BytesThatAreNotUtf8StayWithinTheBound)
{
    for (const char *bytes : {"\x80", "\xff\xc3", "\xf0\x9f"}) {
        const auto many = QByteArray(bytes).repeated(5000);
        claude("{\"prompt\":\"" + many + "\",\"cwd\":\"" + many + "\"}");
        const auto line = contents(m_log);
        EXPECT_TRUE(line.size() > 2000 && line.size() <= longestLine && line.count('\n') == 1) << line.size();
        QFile::remove(m_log);
    }
}

TEST_P(HookScripts, FindTheirDataDirectory)
{
    const auto elsewhere = m_directory.path() + u"/elsewhere"_s, home = m_directory.path() + u"/it's $HOME"_s;
    ASSERT_TRUE(QDir().mkpath(elsewhere) && QDir().mkpath(home));
    deploy(u"/tavvel-hook.sh"_s, elsewhere);
    const auto run = [&](const QString &directory, const std::optional<QString> &homeValue) {
        m_environment.remove(u"HOME"_s);
        if (homeValue)
            m_environment.insert(u"HOME"_s, *homeValue);
        finish(*start(directory + u"/tavvel-hook.sh"_s, {}, "{}"));
    };
    run(m_hooks, std::nullopt);
    run(m_hooks, home);
    EXPECT_EQ(takeLines().size(), 2u); // deployed: beside the script, whatever HOME says
    EXPECT_FALSE(QFile::exists(home + u"/.tavvel"_s));
    for (const auto &odd : {std::optional<QString>(), std::optional(u""_s), std::optional(u"relative"_s)})
        run(elsewhere, odd);
    EXPECT_FALSE(QFile::exists(m_directory.path() + u"/relative"_s));
    run(elsewhere, home);
    EXPECT_EQ(contents(home + u"/.tavvel/events.jsonl"_s).count('\n'), 1);
    EXPECT_EQ(takeLines().size(), 0u);
}

TEST_P(HookScripts, SurviveALogThatCannotBeWritten)
{
    const auto path = QFile::encodeName(m_log);
    const struct
    {
        const char *name;
        std::function<bool()> make;
    } cases[] = {
        {"directory", [&] { return QDir().mkdir(m_log); }},
        {"FIFO nobody reads", [&] { return mkfifo(path, 0600) == 0; }},
        {"full device", [&] { return QFile::link(u"/dev/full"_s, m_log); }},
        {"link into nothing, and no note of the failure either",
         [&] { return QFile::link(u"/nonexistent/x"_s, m_log) && QDir().mkdir(m_data + u"/events.torn"_s); }},
    };
    program(m_hooks + u"/previous"_s, ": >\"${0%/*}/previous-ran\"\n");
    write(m_hooks + u"/codex-notify-forward"_s, (m_hooks + u"/previous\n"_s).toUtf8());
    for (const auto &[name, make] : cases) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(make());
        claude(R"({"cwd":"/a"})");
        codex({u"{\"type\":\"agent-turn-complete\"}"_s});
        EXPECT_EQ(std::remove(path), 0);
        EXPECT_TRUE(QFile::remove(m_hooks + u"/previous-ran"_s));
    }
}

TEST_P(HookScripts, AFullDiskDoesNotCostTheNextEvent)
{
    const QByteArray payload = R"({"cwd":"/)" + QByteArray(200, 'a') + "\"}\n";
    m_fileSizeLimit = 50; // bytes: half of the line fits
    claude(payload);
    ASSERT_EQ(contents(m_log).size(), 50);
    m_fileSizeLimit = RLIM_INFINITY;
    claude(payload);
    claude(payload);
    const auto lines = contents(m_log).split('\n'); // half a line, two whole ones, what follows the last
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(object(lines[1])[u"cwd"], object(payload)[u"cwd"]);
    EXPECT_EQ(object(lines[2])[u"cwd"], object(payload)[u"cwd"]);
    EXPECT_FALSE(QFile::exists(m_data + u"/events.torn"_s));
}

TEST_P(HookScripts, LogTheTurnsOfTheUserInCodex)
{
    const auto seen = m_hooks + u"/codex-client-seen"_s;
    const auto secondsAgo = [&](qint64 seconds) {
        QFile file(seen);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        file.setFileTime(QDateTime::currentDateTime().addSecs(-seconds), QFileDevice::FileModificationTime);
    };
    const QString turn = uR"({"type":"agent-turn-complete","thread-id":"t","turn-id":"no","cwd":"/a",)"
                         uR"("client":"c","input-messages":["first","the \"last\"\n%s"],)"
                         uR"("last-assistant-message":"Done \\n"})"_s;
    const QString otherType = QString(turn).replace(u"agent-turn-complete"_s, u"approval-requested"_s);
    const QString noClient = QString(turn).replace(u"\"client\":\"c\","_s, QString());
    const QString noReply = QString(turn).replace(u"\"Done \\\\n\""_s, u"null"_s);
    const QString title =
        QString(turn).replace(u"[\"first\",\"the"_s, u"[\"Generate a concise, single-line task title of at most"_s);
    const QString aboutTitles = QString(turn).replace(u"\"the"_s, u"\"Generate a concise, single-line task title"_s);
    auto line = object(R"({"hook_event_name":"CodexTurnComplete","session_id":"t","cwd":"/a",)"
                       R"("prompt":"the \"last\"\n%s","assistant":"Done \\n"})");
    auto lineWithoutReply = line, titlesLine = line;
    lineWithoutReply.remove(u"assistant"_s);
    titlesLine[u"prompt"_s] = u"Generate a concise, single-line task title \"last\"\n%s"_s;
    constexpr qint64 day = 86'400;
    const struct
    {
        const char *name;
        QString json;
        std::optional<qint64> seenAgo; // seconds since a turn named a client
        std::optional<QJsonObject> line;
    } cases[] = {
        {"old Codex that never names a client", noClient, {}, line},
        {"turn of a subagent", noClient, 6 * day, {}},
        {"Codex put back to an old version", noClient, 8 * day, line},
        {"turn of the user", turn, {}, line},
        {"turn that renews what was seen", turn, 8 * day, line},
        {"no reply", noReply, {}, lineWithoutReply},
        {"title request", title, {}, {}},
        {"later prompt like a title request", aboutTitles, {}, titlesLine},
        {"another type", otherType, {}, {}},
        {"not JSON", u"-n \\c %s"_s, {}, {}},
    };
    for (const auto &[name, json, seenAgo, expected] : cases) {
        SCOPED_TRACE(name);
        QFile::remove(seen);
        if (seenAgo)
            secondsAgo(*seenAgo);
        codex({u"--other"_s, json});
        expectLine(expected, json.toUtf8());
        const QFileInfo marker(seen);
        EXPECT_EQ(marker.exists() && marker.lastModified().secsTo(QDateTime::currentDateTime()) < day,
                  json.contains(u"\"client\"") && json.contains(u"agent-turn-complete"));
    }
}

TEST_P(HookScripts, RecordedTurnsOfCodex)
{
    int turns = 0;
    for (const auto &payload : recordings(u"codex"_s, u"*.json"_s)) {
        const auto turn = object(payload);
        const auto prompt = turn[u"input-messages"].toArray().last().toString();
        codex({QString::fromUtf8(payload)});
        std::optional<QJsonObject> line;
        if (!prompt.startsWith(u"Generate a concise"))
            line = QJsonObject{{u"hook_event_name"_s, u"CodexTurnComplete"_s},
                               {u"session_id"_s, turn[u"thread-id"]},
                               {u"cwd"_s, turn[u"cwd"]},
                               {u"prompt"_s, prompt},
                               {u"assistant"_s, turn[u"last-assistant-message"]}};
        turns += line.has_value();
        expectLine(line, payload);
    }
    EXPECT_EQ(turns, 4);
}

TEST_P(HookScripts, ForwardTheArgumentsOfCodexUnchanged)
{
    // The previous program has the name of a shell builtin, fails and talks: none of it may show.
    program(m_tools + u"/true"_s, "echo out; echo err >&2\nprintf '[%s]' \"$@\" >\"$RECORD\"\nexit 7\n");
    m_environment.insert(u"RECORD"_s, m_directory.path() + u"/record"_s);
    write(m_hooks + u"/codex-notify-forward"_s, "true\n-n\n\n a  b\\n 'c' \"$HOME\" * %s\n\xc3\xa9\n");
    const QString json = u"{\"type\": \"\\n\\\\ %d 'é' $(x)  "_s + QString(100'000, u'p') + u"\"}"_s;
    codex({u"-e"_s, QString(), u"two\nlines "_s, json});
    const auto record = contents(m_directory.path() + u"/record"_s);
    const QByteArray expected = "[-n][][ a  b\\n 'c' \"$HOME\" * %s][\xc3\xa9][-e][][two\nlines ][";
    EXPECT_TRUE(record == expected + json.toUtf8() + "]") << record.left(200).constData();
}

INSTANTIATE_TEST_SUITE_P(
    , HookScripts,
    testing::Values(Combination{"dash", "", "mawk", 0}, Combination{"dash", "", "gawk", 1},
                    Combination{"dash", "", "busybox", 2}, Combination{"dash", "", "original-awk", 3},
                    Combination{"bash", " --posix", "mawk", 4}, Combination{"bash", " --posix", "gawk", 5},
                    Combination{"bash", " --posix", "busybox", 6}, Combination{"busybox", " sh", "mawk", 7},
                    Combination{"busybox", " sh", "gawk", 8}, Combination{"busybox", " sh", "busybox", 9}),
    [](const auto &info) {
        auto name = std::string(info.param.shell) + "With" + info.param.awk;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

} // namespace
