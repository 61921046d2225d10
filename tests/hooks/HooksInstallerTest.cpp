#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/system/Files.h"

#include "tests/support/TestHome.h"
#include "tests/support/Unprivileged.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace {

const QString settings = u".claude/settings.json"_s;
const QString config = u".codex/config.toml"_s;
const QString backup = u".backup-tavvel"_s;
const QString hookScript = u".tavvel/hooks/tavvel-hook.sh"_s;
const QString codexScript = u".tavvel/hooks/codex-notify.sh"_s;
const QString forward = u".tavvel/hooks/codex-notify-forward"_s;

// The names that files got, in order, and what happens at that moment; true where the disk is full.
QStringList renamed;
std::function<bool(const QString &)> onRename;
bool isFlushed = false;

// A home of an ordinary user: nothing protects a file from root.
class HooksInstallerTest : public testing::Test
{
protected:
    HooksInstallerTest()
    {
        onRename = {};
        for (const QString &script : {u"tavvel-hook.sh"_s, u"codex-notify.sh"_s})
            home.write(u"resources/hooks/"_s + script, "new");
    }

    mode_t mode(const QString &name) const
    {
        struct stat status = {};
        return ::stat(qPrintable(home.path(name)), &status) == 0 ? status.st_mode & 07777 : 0;
    }
    static QString state(const HooksInstaller &installer)
    {
        return installer.message().value_or(u"-"_s) + (installer.claudeInstalled() ? u" claude"_s : u""_s)
            + (installer.codexInstalled() ? u" codex"_s : u""_s);
    }

    const Unprivileged user;
    TestHome home;
};

} // namespace

// In the place of the C library's, also for Qt.
extern "C" int fsync(int descriptor)
{
    isFlushed = true;
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}
extern "C" int fdatasync(int descriptor)
{
    return fsync(descriptor);
}
extern "C" int rename(const char *from, const char *to) noexcept
{
    const QString name = QFileInfo(QFile::decodeName(to)).fileName();
    renamed += std::exchange(isFlushed, false) ? name : name + u" (not flushed)"_s;
    const bool isFull = onRename && onRename(name);
    errno = ENOSPC;
    return isFull ? -1 : ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}

TEST_F(HooksInstallerTest, EveryOutcomeHasItsMessageItsBackupAndItsLookAtBothFilesAndLinksAndModesStay)
{
    const QString claudeDone = u"Claude Code 接好了。重新打开一个会话，再发一条消息就能看到。"_s;
    const QString unwritable = u"接入失败：无法写入 %1：没有权限。"_s;
    const QString unreadable = u"接入失败：无法读取 %1：没有权限。"_s;
    const QString bare = u"接入失败：app 包里没有 hooks 资源（开发构建请用仓库里的 scripts/install-hooks.py）"_s;
    const std::tuple<QString, std::optional<QByteArray>, QString> cases[] = {
        {settings, {}, claudeDone},
        {settings, "", claudeDone},
        {settings, R"({"a":1})", claudeDone},
        {settings, "[]", u"你的 settings.json 不是常规格式，为避免弄坏它，这次没有改动。"_s},
        {settings, R"({"hooks":[]})", u"你的 settings.json 里 hooks 格式不常规，为安全起见没有改动。"_s},
        {settings, "x", u"接入失败：settings.json 第 1 行附近不是有效的 JSON，这次没有改动。"_s},
        {settings, "{}", unwritable},
        {settings, "{}", unreadable},
        {settings, QByteArray(5'000'000, ' '), u"接入失败：无法读取 %1：文件太大。"_s},
        {settings, "{}", bare},
        {config, {}, u"没找到 Codex 配置文件：~/.codex/config.toml"_s},
        {config, "a = 1\n", u"Codex 接好了，重启 Codex 后就生效。"_s},
        {config, "notify = ['a', \"好\"]\r\n", u"Codex 接好了，原来的通知也会保留。重启 Codex 后就生效。"_s},
        {config, "# codex-notify\n", u"-"_s},
        {config, "notify = [\n\"x\"]\n", u"Codex 已有通知配置，暂时没改。可以看看 README 里的说明。"_s},
        {config, "a = '''\n[\n'''\n", u"接入失败：config.toml 的写法比较特别，自动改动会弄坏它，这次没有改动。"_s},
        {config, "a = 1\n", unwritable},
        {config, "a = 1\n", unreadable},
        {config, "a = 1\n", bare},
    };
    for (const auto &[file, before, sentence] : cases) {
        const QString message = sentence.contains(u"%1") ? sentence.arg(home.path(file)) : sentence;
        SCOPED_TRACE(message.toStdString());
        const bool isEdited = message.contains(u"接好了");
        const bool isCopied = before && (isEdited || message.contains(u"hooks 格式") || sentence == unwritable);
        const bool isRefreshed = isEdited || message == u"-" || message.startsWith(u"接入失败：");
        const mode_t fileMode = sentence == unwritable ? 0404 : sentence == unreadable ? 0 : 0604;
        Environment &environment = home.environment();
        if (message == bare)
            environment.resourcesDir += u"/none"_s;
        HooksInstaller installer(environment);
        home.write(file == config ? settings : config, "tavvel-hook.sh codex-notify"); // for the next look
        home.write(u"precious"_s, "precious");
        home.write(forward, "earlier");
        if (before) {
            home.write(u"dot"_s, *before);
            ::chmod(qPrintable(home.path(u"dot"_s)), fileMode);
            QDir(home.path()).mkpath(file.section(u'/', 0, 0));
            QFile::link(u"../dot"_s, home.path(file));
            QFile::link(home.path(u"precious"_s), home.path(file + backup));
        }
        QStringList seen;
        QObject::connect(&installer, &HooksInstaller::objectWillChange, [&] { seen += state(installer); });

        file == config ? installer.installCodex() : installer.installClaude();
        EXPECT_EQ(installer.message().value_or(u"-"_s), message);
        EXPECT_EQ(seen.size(), (message == u"-" ? 0 : 1) + (isRefreshed ? 2 : 0)); // each change is announced
        EXPECT_EQ(seen.first(), u"-");                                             // and before it happens
        EXPECT_EQ(mode(file), before ? fileMode : isEdited ? 0600u : 0u);
        ::chmod(qPrintable(home.path(u"dot"_s)), 0600);
        const QByteArray after = home.read(file);
        EXPECT_EQ(after.contains(home.path(file == config ? codexScript : hookScript).toUtf8()), isEdited);
        EXPECT_TRUE(isEdited || after == before.value_or(""));
        EXPECT_EQ(QFileInfo(home.path(file)).isSymLink(), before.has_value());
        EXPECT_EQ(home.read(file + backup), isCopied ? *before : QByteArray(before ? "precious" : ""));
        EXPECT_EQ(mode(file + backup), isCopied ? fileMode : before ? mode(u"precious"_s) : 0u);
        EXPECT_EQ(home.read(u"precious"_s), "precious");
        EXPECT_EQ(home.read(forward), message.contains(u"原来") ? "a\n好\n" : "earlier");
        EXPECT_EQ(mode(forward) == 0600u, message.contains(u"原来"));
        EXPECT_EQ(mode(codexScript), (file == config && !before) || message == bare ? 0u : 0755u);
        EXPECT_EQ(installer.claudeInstalled(), isRefreshed && (file == config || after.contains("tavvel-hook.sh")));
        EXPECT_EQ(installer.codexInstalled(), isRefreshed && (file == settings || after.contains("codex-notify")));
        installer.clearMessage();
        EXPECT_FALSE(installer.message());
        for (const QString &folder : {u".claude"_s, u".codex"_s, u".tavvel"_s})
            QDir(home.path(folder)).removeRecursively();
    }
}

TEST_F(HooksInstallerTest, StartReplacesTheScriptsThatThereAreWhereAToolIsRegistered)
{
    QFile::remove(home.path(u"resources/hooks/codex-notify.sh"_s));
    home.write(codexScript, "old");
    const std::tuple<QString, QByteArray, QString> cases[] = {
        {settings, "x tavvel-hook.sh", u"- claude"_s},
        {config, "# codex-notify", u"- codex"_s},
        {config, "# Codex-Notify", u"-"_s},
        {settings, "\xff tavvel-hook.sh", u"-"_s},
    };
    for (const auto &[file, content, expected] : cases) {
        home.write(hookScript, "old");
        ::chmod(qPrintable(home.path(hookScript)), file == config ? 0444 : 0644);
        home.write(file, content);
        EXPECT_EQ(state(HooksInstaller(home.environment())), expected);
        EXPECT_EQ(home.read(hookScript), expected == u"-" ? "old" : "new") << qPrintable(expected);
        EXPECT_EQ(mode(hookScript) == 0755u, expected != u"-") << qPrintable(expected);
        QFile::remove(home.path(hookScript));
        QFile::remove(home.path(file));
    }
    EXPECT_EQ(home.read(codexScript), "old");
}

TEST_F(HooksInstallerTest, TheToolsFileChangesLastWhenAllElseIsOnTheDiskAndStaysWhereAStepFails)
{
    home.write(settings, "{}");
    home.write(config, "notify = ['x']");
    for (const auto &[file, names] :
         {std::pair(settings, u"settings.json.original settings.json.backup-tavvel settings.json"_s),
          {config, u"config.toml.original codex-notify-forward config.toml.backup-tavvel config.toml"_s}}) {
        const QStringList order = (u"tavvel-hook.sh codex-notify.sh "_s + names).split(u' ');
        const QByteArray before = home.read(file);
        for (qsizetype step = 0; step <= order.size(); ++step) {
            HooksInstaller installer(home.environment());
            QDir(home.path(u".tavvel"_s)).removeRecursively();
            QFile::remove(home.path(file + backup));
            renamed.clear();
            onRename = [step](const QString &) { return renamed.size() > step; };
            file == config ? installer.installCodex() : installer.installClaude();
            EXPECT_EQ(renamed, order.first(qMin(step + 1, order.size())));
            EXPECT_EQ(home.read(file) == before, step < order.size());
            EXPECT_EQ(state(installer).contains(order.value(step) + u"：磁盘空间不足。"_s), step < order.size());
        }
        renamed.clear();
        EXPECT_NE(state(HooksInstaller(home.environment())), u"-");
        EXPECT_EQ(renamed, QStringList()); // a start with all in its place writes nothing
    }
}

TEST_F(HooksInstallerTest, ARemovalThatIsKilledAtAnyStepIsEndedByTheNextByteForByteAndNothingIsLeft)
{
    for (int killedAt = 0, status = 1; status != 0; ++killedAt) {
        home.write(settings, "{ \"a\" :1}");
        home.write(config, "notify = ['a'] # c\n");
        HooksInstaller installer(home.environment());
        installer.installClaude();
        installer.installClaude(); // for which there is nothing new to do
        installer.installCodex();
        renamed.clear();
        if (::fork() == 0) {
            onRename = [killedAt](const QString &) { return renamed.size() > killedAt && (::_exit(9), true); };
            HooksInstaller::remove(home.path());
            ::_exit(0);
        }
        ::wait(&status);
        EXPECT_EQ(status != 0, killedAt < 3);
        EXPECT_TRUE(home.exists(hookScript) || !home.read(config).contains("codex-notify.sh")); // which runs it
        for (const QString &file : {settings, config, hookScript})
            Files::removeTemporaries(home.path(file));
        HooksInstaller::remove(home.path());
        EXPECT_EQ(home.read(settings) + home.read(config), "{ \"a\" :1}notify = ['a'] # c\n") << killedAt;
        for (const QString &folder : {u".claude"_s, u".codex"_s})
            EXPECT_EQ(QDir(home.path(folder)).entryList(QDir::Files | QDir::Hidden).size(), 2) << killedAt;
        EXPECT_FALSE(home.exists(u".tavvel/hooks"_s)) << killedAt;
    }
}

TEST_F(HooksInstallerTest, WhatKeepsRegisteredHooksFromRunningIsSaidAndNothingElse)
{
    ::setenv("CODEX_HOME", qPrintable(home.path(u".codex/"_s)), 1);
    ::setenv("CLAUDE_CONFIG_DIR", "/x", 1); // is said in every case
    const QByteArray ours = home.path(u".tavvel/hooks/"_s).toUtf8();
    const std::tuple<QString, QByteArray, QString> cases[] = {
        {settings, R"({"disableAllHooks":true})", u"disableAllHooks"_s},
        {settings, R"({"allowManagedHooksOnly":true})", {}},
        {u"managed/managed-settings.json"_s, R"({"allowManagedHooksOnly":true})", u"allowManagedHooksOnly"_s},
        {u"managed/managed-settings.d/1.json"_s, R"({"disableAllHooks":true})", u"disableAllHooks"_s},
        {settings, R"("/home/other/.tavvel/hooks/tavvel-hook.sh")", u"/home/other/.tavvel/hooks/tavvel-hook.sh"_s},
        {settings, R"("~/.tavvel/hooks/tavvel-hook.sh", ")" + ours + "tavvel-hook.sh\"", {}},
        {config, "notify = ['/home/other/codex-notify.sh']", u"/home/other/codex-notify.sh"_s},
        {u".codex/work.config.toml"_s, "model = 'x'\nnotify = ['x']\n", u"codex -p work "_s},
        {u".codex/work.config.toml"_s, "[notify]\nnotify = ['x']\n", {}},
        {u".codex/work.config.toml"_s, "notify = ['" + ours + "codex-notify.sh']", {}},
    };
    for (const auto &[file, content, reason] : cases) {
        home.write(file, content);
        const QStringList said = HooksInstaller::problems(home.path(), home.path(u"managed"_s));
        EXPECT_EQ(said.size(), reason.isEmpty() ? 1 : 2) << content.constData();
        EXPECT_TRUE(said.join(u'|').contains(reason)) << content.constData();
        QFile::remove(home.path(file));
    }
    ::unsetenv("CLAUDE_CONFIG_DIR");
}

TEST_F(HooksInstallerTest, WhatAnotherProgramWritesMeanwhileIsNotOverwritten)
{
    home.write(settings, "{}");
    onRename = [this](const QString &name) {
        if (name == u"settings.json.backup-tavvel" && home.read(settings) == "{}")
            home.write(settings, R"({"newer":1})");
        return false;
    };
    HooksInstaller(home.environment()).installClaude();
    EXPECT_TRUE(home.read(settings).contains("newer") && home.read(settings).contains("tavvel-hook.sh"));
    EXPECT_EQ(home.read(settings + backup), R"({"newer":1})");
}
