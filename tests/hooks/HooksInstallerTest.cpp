#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/system/Files.h"

#include "tests/support/DiskCalls.h"
#include "tests/support/TestHome.h"
#include "tests/support/Unprivileged.h"

#include <QRegularExpression>

#include <sys/stat.h>
#include <sys/wait.h>

namespace {

const QString settings = ".claude/settings.json", config = ".codex/config.toml", backup = ".backup-tavvel";
const QString hooks = ".tavvel/hooks", hookScript = hooks + "/tavvel-hook.sh", codexScript = hooks + "/codex-notify.sh";
const QString forward = hooks + "/codex-notify-forward";

// The names that files got since the last call. Another text where one was not flushed before.
QString takeRenamed()
{
    static const QRegularExpression file("flush \\.([^,]+)\\.\\w{6}\\.tavvel-new, rename \\1(, flush [\\w.]+)?(, |$)");
    return takeDiskCalls().replace(file, "\\1 ").trimmed();
}

// A home of an ordinary user: nothing protects a file from root.
class HooksInstallerTest : public testing::Test
{
protected:
    HooksInstallerTest()
    {
        onRename = {};
        home.write("resources/hooks/tavvel-hook.sh", "new");
        home.write("resources/hooks/codex-notify.sh", "new");
    }

    mode_t mode(const QString &name) const
    {
        struct stat status = {};
        return ::stat(qPrintable(home.path(name)), &status) == 0 ? status.st_mode & 07777 : 0;
    }
    static QString state(const HooksInstaller &installer)
    {
        return installer.message().value_or("-") + (installer.claudeInstalled() ? " claude" : "")
            + (installer.codexInstalled() ? " codex" : "");
    }

    const Unprivileged user;
    TestHome home;
};

} // namespace

TEST_F(HooksInstallerTest, EachOutcomeHasItsMessageAndLinksAndModesStay)
{
    const char *const claudeDone = "Claude Code 接好了。重新打开一个会话，再发一条消息就能看到。";
    const char *const unwritable = "接入失败：无法写入 %1：没有权限。",
                      *const unreadable = "接入失败：无法读取 %1：没有权限。";
    // What is done (Edit, Backup, Scripts, Forward) | what is connected then; the message.
    const std::tuple<QString, std::optional<QByteArray>, const char *, const char *> cases[] = {
        {settings, {}, "ES| claude codex", claudeDone},
        {settings, R"({"a":1})", "EBS| claude codex", claudeDone},
        {settings, "[]", "S|", "你的 settings.json 不是常规格式，为避免弄坏它，这次没有改动。"},
        {settings, R"({"hooks":[]})", "BS|", "你的 settings.json 里 hooks 格式不常规，为安全起见没有改动。"},
        {settings, "x", "S| codex", "接入失败：settings.json 第 1 行附近不是有效的 JSON，这次没有改动。"},
        {settings, "{}", "BS| codex", unwritable},
        {settings, "{}", "S| codex", unreadable},
        {settings, QByteArray(5'000'000, ' '), "S| codex", "接入失败：无法读取 %1：文件太大。"},
        {config, {}, "|", "没找到 Codex 配置文件：~/.codex/config.toml"},
        {config, "a = 1\n", "EBS| claude codex", "Codex 接好了，重启 Codex 后就生效。"},
        {config, "notify = ['a', \"好\"]\r\n", "EBSF| claude codex",
         "Codex 接好了，原来的通知也会保留。重启 Codex 后就生效。"},
        {config, "notify = [\n\"x\"]\n", "S|", "Codex 已有通知配置，暂时没改。可以看看 README 里的说明。"},
        {config, "a = '''\n[\n'''\n", "S| claude",
         "接入失败：config.toml 的写法比较特别，自动改动会弄坏它，这次没有改动。"},
    };
    for (const auto &[file, before, expected, sentence] : cases) {
        const mode_t fileMode = sentence == unwritable ? 0404 : sentence == unreadable ? 0 : 0604;
        HooksInstaller installer(home.environment());
        home.write(file == config ? settings : config, "tavvel-hook.sh codex-notify"); // for the next look
        if (before) {
            home.write("dot", *before);
            ::chmod(qPrintable(home.path("dot")), fileMode);
            QDir(home.path()).mkpath(file.section('/', 0, 0));
            QFile::link("../dot", home.path(file));
        }
        file == config ? installer.installCodex() : installer.installClaude();
        EXPECT_EQ(mode(file), before ? fileMode : *expected == 'E' ? 0600u : 0u);
        ::chmod(qPrintable(home.path("dot")), 0600);
        const QByteArray after = home.read(file),
                         script = home.path(file == config ? codexScript : hookScript).toUtf8();
        const bool isEdited = after.count(script) == (file == config ? 1 : 6); // events
        const bool isSaved = before && home.read(file + backup) == *before && mode(file + backup) == fileMode;
        const bool isForwarded = home.read(forward) == "a\n好\n" && mode(forward) == 0600;
        QString is = QString(isEdited ? "E" : "") + (isSaved ? "B" : "") + (mode(codexScript) == 0755 ? "S" : "")
            + (isForwarded ? "F" : "") + '|' + state(installer);
        EXPECT_EQ(is.replace(home.path(file), "%1"), QString(expected).replace("|", QString("|") + sentence));
        EXPECT_TRUE(isEdited || after == before.value_or(""));
        EXPECT_EQ(QFileInfo(home.path(file)).isSymLink(), before.has_value());
        for (const QString folder : {".claude", ".codex", ".tavvel"})
            QDir(home.path(folder)).removeRecursively();
    }
}

TEST_F(HooksInstallerTest, StartUpdatesTheScriptsWhereAToolIsRegistered)
{
    QFile::remove(home.path("resources/hooks/codex-notify.sh"));
    home.write(codexScript, "old");
    const std::tuple<QString, QByteArray, QString> cases[] = {
        {settings, "x tavvel-hook.sh", "- claude"},
        {config, "# codex-notify", "- codex"},
        {settings, "\xff tavvel-hook.sh", "-"},
    };
    for (const auto &[file, content, expected] : cases) {
        home.write(hookScript, "old");
        ::chmod(qPrintable(home.path(hookScript)), file == config ? 0444 : 0644);
        home.write(file, content);
        EXPECT_EQ(state(HooksInstaller(home.environment())), expected);
        EXPECT_EQ(home.read(hookScript), expected == "-" ? "old" : "new");
        EXPECT_EQ(mode(hookScript) == 0755u, expected != "-");
        QFile::remove(home.path(file));
    }
    EXPECT_EQ(home.read(codexScript), "old");
}

TEST_F(HooksInstallerTest, TheToolsFileIsReplacedLastAndStaysWhereAStepFails)
{
    home.write(settings, "{}");
    home.write(config, "notify = ['x']");
    for (const auto &[file, names] :
         {std::pair(settings, "settings.json.original settings.json.backup-tavvel settings.json"),
          {config, "config.toml.original codex-notify-forward config.toml.backup-tavvel config.toml"}}) {
        const QString order = QString("tavvel-hook.sh codex-notify.sh ") + names;
        const QByteArray before = home.read(file);
        for (qsizetype step = 0, most = order.count(' ') + 1; step <= most; ++step) {
            HooksInstaller installer(home.environment());
            QDir(home.path(".tavvel")).removeRecursively();
            QFile::remove(home.path(file + backup));
            takeDiskCalls();
            onRename = [left = step](const QString &) mutable { return left-- == 0; };
            file == config ? installer.installCodex() : installer.installClaude();
            EXPECT_EQ(takeRenamed(), order.section(' ', 0, step));
            EXPECT_EQ(home.read(file) == before, step < most);
            EXPECT_EQ(state(installer).contains(order.section(' ', step, step) + "：磁盘空间不足。"), step < most);
        }
        EXPECT_NE(state(HooksInstaller(home.environment())), "-");
        EXPECT_EQ(takeRenamed(), ""); // a start with all in its place writes nothing
    }
}

TEST_F(HooksInstallerTest, ARemovalThatWasKilledIsCompletedByTheNext)
{
    for (int killedAt = 0, status = 1; status != 0; ++killedAt) {
        home.write(settings, "{ \"a\" :1}");
        home.write(config, "notify = ['a'] # c\n");
        HooksInstaller installer(home.environment());
        installer.installClaude();
        installer.installClaude(); // for which there is nothing new to do
        installer.installCodex();
        if (::fork() == 0) {
            onRename = [left = killedAt](const QString &) mutable { return left-- == 0 && (::_exit(9), true); };
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
        for (const QString folder : {".claude", ".codex"})
            EXPECT_EQ(QDir(home.path(folder)).entryList(QDir::Files | QDir::Hidden).size(), 2) << killedAt;
        EXPECT_FALSE(home.exists(hooks)) << killedAt;
    }
}

TEST_F(HooksInstallerTest, ReasonsWhyRegisteredHooksDoNotRunAreReported)
{
    ::setenv("CODEX_HOME", qPrintable(home.path(".codex/")), 1);
    ::setenv("CLAUDE_CONFIG_DIR", "/x", 1); // is said in every case
    const QByteArray ours = home.path(hookScript).toUtf8();
    const std::tuple<QString, QByteArray, QString> cases[] = {
        {settings, R"({"disableAllHooks":true})", "disableAllHooks"},
        {"managed/managed-settings.json", R"({"allowManagedHooksOnly":true})", "allowManagedHooksOnly"},
        {settings, R"("/home/other/.tavvel/hooks/tavvel-hook.sh")", "/home/other/.tavvel/hooks/tavvel-hook.sh"},
        {settings, R"("~/.tavvel/hooks/tavvel-hook.sh", ")" + ours + '"', {}},
        {config, "notify = ['/home/other/codex-notify.sh']", "/home/other/codex-notify.sh"},
        {".codex/work.config.toml", "model = 'x'\nnotify = ['x']\n", "codex -p work "},
    };
    for (const auto &[file, content, reason] : cases) {
        home.write(file, content);
        const QStringList said = HooksInstaller::problems(home.path(), home.path("managed"));
        EXPECT_EQ(said.size(), reason.isEmpty() ? 1 : 2);
        EXPECT_TRUE(said.join('|').contains(reason)) << content.constData();
        QFile::remove(home.path(file));
    }
    ::unsetenv("CLAUDE_CONFIG_DIR");
}

TEST_F(HooksInstallerTest, ChangesOfAnotherProgramAreNotOverwritten)
{
    home.write(settings, "{}");
    onRename = [this](const QString &name) {
        if (name == "settings.json.backup-tavvel" && home.read(settings) == "{}")
            home.write(settings, R"({"newer":1})");
        return false;
    };
    HooksInstaller(home.environment()).installClaude();
    EXPECT_TRUE(home.read(settings).contains("newer") && home.read(settings).contains("tavvel-hook.sh"));
    EXPECT_EQ(home.read(settings + backup), R"({"newer":1})");
}
