#include "Plumtide/hooks/HooksInstaller.h"

#include "Plumtide/hooks/HookFiles.h"
#include "tests/support/Unprivileged.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr char claudeDone[] = "Claude Code 接好了。重新打开一个会话，再发一条消息就能看到。";
constexpr char codexDone[] = "Codex 接好了，重启 Codex 后就生效。";
constexpr char codexChained[] = "Codex 接好了，原来的通知也会保留。重启 Codex 后就生效。";
constexpr char codexForeign[] = "Codex 已有通知配置，暂时没改。可以看看 README 里的说明。";
constexpr char noResources[] = "接入失败：app 包里没有 hooks 资源（开发构建请用仓库里的 scripts/install-hooks.py）";

const QString settings = u".claude/settings.json"_s;
const QString config = u".codex/config.toml"_s;
const QString backup = u".backup-tavvel"_s;
const QString hookScript = u".tavvel/hooks/tavvel-hook.sh"_s;
const QString codexScript = u".tavvel/hooks/codex-notify.sh"_s;
const QString forward = u".tavvel/hooks/codex-notify-forward"_s;

// A home of its own, with resources that hold both scripts. All paths are relative to the home.
class HooksInstallerTest : public testing::Test
{
protected:
    HooksInstallerTest()
    {
        write(u"res/hooks/tavvel-hook.sh"_s, "hook 1");
        write(u"res/hooks/codex-notify.sh"_s, "codex 1");
    }

    QString path(const QString &name) const { return m_dir.filePath(name); }
    void write(const QString &name, const QByteArray &content, mode_t mode = 0640) const
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QFile::WriteOnly) && file.write(content) == content.size());
        ASSERT_EQ(::chmod(QFile::encodeName(path(name)).constData(), mode), 0);
    }
    // "-" for a file that is not there.
    std::string read(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QFile::ReadOnly) ? file.readAll().toStdString() : "-";
    }
    mode_t mode(const QString &name) const
    {
        struct stat status = {};
        return ::stat(QFile::encodeName(path(name)).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
    }
    Environment environment() const
    {
        Environment made;
        made.home = m_dir.path();
        made.resourcesDir = path(u"res"_s);
        return made;
    }
    static std::string message(const HooksInstaller &installer)
    {
        return installer.message().value_or(u"-"_s).toStdString();
    }

    QTemporaryDir m_dir;
};

} // namespace

TEST_F(HooksInstallerTest, ConstructionReplacesScriptsOnlyWhereAToolIsRegistered)
{
    struct Case
    {
        const char *name;
        QString file;
        QByteArray content;
        bool claude;
        bool codex;
    };
    const Case cases[] = {
        {"neither file", settings, "", false, false},
        {"mentioned anywhere in the settings", settings, "x tavvel-hook.sh", true, false},
        {"settings that are not UTF-8", settings, "\xff tavvel-hook.sh", false, false},
        {"mentioned in a comment", config, "# codex-notify", false, true},
        {"other letter case", config, "# Codex-Notify", false, false},
    };
    for (const Case &c : cases) {
        write(hookScript, "edited by the user", 0444);
        write(c.file, c.content);
        const HooksInstaller installer(environment());
        EXPECT_EQ(installer.claudeInstalled(), c.claude) << c.name;
        EXPECT_EQ(installer.codexInstalled(), c.codex) << c.name;
        EXPECT_EQ(read(hookScript), c.claude || c.codex ? "hook 1" : "edited by the user") << c.name;
        EXPECT_EQ(mode(hookScript), c.claude || c.codex ? 0755u : 0444u) << c.name;
        EXPECT_EQ(message(installer), "-") << c.name;
        QFile::remove(path(c.file));
    }
}

TEST_F(HooksInstallerTest, ResourcesAreUsableOnlyWithTheClaudeScript)
{
    write(settings, "tavvel-hook.sh is mentioned, but nothing else here is right");
    write(config, "a = 1\n");
    QFile::remove(path(u"res/hooks/codex-notify.sh"_s));
    HooksInstaller installer(environment());
    EXPECT_EQ(read(hookScript), "hook 1");
    EXPECT_EQ(read(codexScript), "-");

    write(u"res/hooks/codex-notify.sh"_s, "codex 2");
    QFile::remove(path(u"res/hooks/tavvel-hook.sh"_s));
    installer.installClaude();
    EXPECT_EQ(message(installer), noResources);
    installer.clearMessage();
    installer.installCodex();
    EXPECT_EQ(message(installer), noResources);
    EXPECT_EQ(read(codexScript), "-");
    EXPECT_EQ(read(config), "a = 1\n");

    Environment none = environment();
    none.resourcesDir.clear();
    HooksInstaller bare(none);
    bare.installClaude();
    EXPECT_EQ(message(bare), noResources);
}

TEST_F(HooksInstallerTest, EveryAssignmentIsAnnouncedBeforeItHappens)
{
    HooksInstaller installer(environment());
    std::vector<std::string> seen;
    QObject::connect(&installer, &HooksInstaller::objectWillChange, &installer,
                     [&] { seen.push_back(message(installer) + (installer.claudeInstalled() ? " yes" : " no")); });
    installer.installClaude();
    const std::string done = claudeDone;
    EXPECT_EQ(seen, (std::vector<std::string>{"- no", done + " no", done + " yes"}));
    installer.clearMessage();
    EXPECT_EQ(seen.back(), done + " yes");
    EXPECT_FALSE(installer.message());
}

TEST_F(HooksInstallerTest, ClaudeIsRegisteredInANewFileAndASecondTimeNothingIsAdded)
{
    HooksInstaller installer(environment());
    installer.installClaude();
    EXPECT_EQ(message(installer), claudeDone);
    EXPECT_TRUE(installer.claudeInstalled());
    const std::string once = read(settings);
    EXPECT_NE(once.find("\"command\": \"" + path(hookScript).toStdString() + '"'), std::string::npos);
    EXPECT_EQ(mode(settings), 0600u);
    EXPECT_EQ(mode(u".claude"_s), 0700u);
    EXPECT_EQ(mode(hookScript), 0755u);
    EXPECT_EQ(mode(codexScript), 0755u);
    EXPECT_EQ(read(settings + backup), "-");

    installer.installClaude();
    EXPECT_EQ(message(installer), claudeDone);
    EXPECT_EQ(read(settings), once);
    EXPECT_EQ(read(settings + backup), once);
}

TEST_F(HooksInstallerTest, LinksAndModesSurviveAndABackupNeverWritesThroughALink)
{
    write(u"dot/settings.json"_s, "{}", 0604);
    write(u"dot/config.toml"_s, "", 0600);
    write(u"precious"_s, "p");
    QDir().mkpath(path(u".claude"_s));
    QDir().mkpath(path(u".codex"_s));
    ASSERT_TRUE(QFile::link(u"../dot/settings.json"_s, path(settings)));
    ASSERT_TRUE(QFile::link(u"../dot/config.toml"_s, path(config)));
    ASSERT_TRUE(QFile::link(path(u"precious"_s), path(settings + backup)));
    write(config + backup, "older", 0444);

    HooksInstaller installer(environment());
    installer.installClaude();
    installer.installCodex();
    EXPECT_EQ(message(installer), codexDone);
    EXPECT_TRUE(installer.claudeInstalled() && installer.codexInstalled());
    for (const QString &name : {settings, config})
        EXPECT_TRUE(QFileInfo(path(name)).isSymLink());
    EXPECT_EQ(mode(u"dot/settings.json"_s), 0604u);
    EXPECT_EQ(mode(u"dot/config.toml"_s), 0600u);
    EXPECT_FALSE(QFileInfo(path(settings + backup)).isSymLink());
    EXPECT_EQ(read(settings + backup), "{}");
    EXPECT_EQ(mode(settings + backup), 0604u);
    EXPECT_EQ(read(config + backup), "");
    EXPECT_EQ(mode(config + backup), 0600u);
    EXPECT_EQ(read(u"precious"_s), "p");
}

TEST_F(HooksInstallerTest, ALinkToNothingIsAMissingFile)
{
    QDir().mkpath(path(u".claude"_s));
    QDir().mkpath(path(u".codex"_s));
    ASSERT_TRUE(QFile::link(u"../later.json"_s, path(settings)));
    ASSERT_TRUE(QFile::link(u"../later.toml"_s, path(config)));
    HooksInstaller installer(environment());
    installer.installClaude();
    EXPECT_EQ(message(installer), claudeDone);
    EXPECT_TRUE(QFileInfo(path(settings)).isSymLink());
    EXPECT_NE(read(u"later.json"_s), "-");
    EXPECT_EQ(read(settings + backup), "-");
    installer.installCodex();
    EXPECT_EQ(message(installer), "没找到 Codex 配置文件：~/.codex/config.toml");
}

TEST_F(HooksInstallerTest, RefusedSettingsStayAsTheyAre)
{
    struct Case
    {
        const char *name;
        QByteArray content;
        std::string message;
        bool isBackedUp;
        bool isRefreshed;
    };
    const Case cases[] = {
        {"array", R"(["tavvel-hook.sh"])", "你的 settings.json 不是常规格式，为避免弄坏它，这次没有改动。", false,
         false},
        {"hooks is an array", R"({"hooks":["tavvel-hook.sh"]})",
         "你的 settings.json 里 hooks 格式不常规，为安全起见没有改动。", true, false},
        {"not JSON", "tavvel-hook.sh", "接入失败：settings.json 第 1 行附近不是有效的 JSON，这次没有改动。", false,
         true},
    };
    for (const Case &c : cases) {
        HooksInstaller installer(environment());
        write(settings, c.content);
        installer.installClaude();
        EXPECT_EQ(message(installer), c.message) << c.name;
        EXPECT_EQ(read(settings), c.content.toStdString()) << c.name;
        EXPECT_EQ(read(settings + backup), c.isBackedUp ? c.content.toStdString() : "-") << c.name;
        EXPECT_EQ(installer.claudeInstalled(), c.isRefreshed) << c.name;
        QFile::remove(path(settings));
        QFile::remove(path(settings + backup));
    }
}

TEST_F(HooksInstallerTest, CodexOutcomes)
{
    const QByteArray line = "notify = [\"" + path(codexScript).toUtf8() + "\"]";
    struct Case
    {
        const char *name;
        QByteArray before;
        std::string message;
        QByteArray after; // empty: as before, and no backup
        std::string forward;
        bool isInstalled;
        bool isRefreshed = true;
    };
    const Case cases[] = {
        {"added", "a = 1\n[t]\n", codexDone, "a = 1\n" + line + "\n[t]\n", "earlier", true},
        {"chained", "notify = [\"notify-send\", 'Codex 好']\r\n", codexChained, line + "\r\n",
         "notify-send\nCodex 好\n", true},
        {"already there: not even a message", "# codex-notify\n", "-", "", "earlier", true},
        {"cannot be read", "notify = [\n\"x\"]\n", codexForeign, "", "earlier", false, false},
        {"indented", " notify = [\"x\"]\n", codexForeign, "", "earlier", false, false},
        {"would break", "a = '''\nnotify = [\"x\"]\n'''\n",
         "接入失败：config.toml 的写法比较特别，自动改动会弄坏它，这次没有改动。", "", "earlier", false},
        {"not UTF-8", "\xff", "接入失败：config.toml 不是 UTF-8 文本，这次没有改动。", "", "earlier", false},
    };
    for (const Case &c : cases) {
        HooksInstaller installer(environment());
        write(forward, "earlier");
        write(config, c.before);
        write(settings, "tavvel-hook.sh"); // seen by the next refresh
        installer.installCodex();
        EXPECT_EQ(message(installer), c.message) << c.name;
        EXPECT_EQ(read(config), (c.after.isEmpty() ? c.before : c.after).toStdString()) << c.name;
        EXPECT_EQ(read(config + backup), c.after.isEmpty() ? "-" : c.before.toStdString()) << c.name;
        EXPECT_EQ(read(forward), c.forward) << c.name;
        EXPECT_EQ(installer.codexInstalled(), c.isInstalled) << c.name;
        EXPECT_EQ(installer.claudeInstalled(), c.isRefreshed) << c.name;
        QFile::remove(path(settings));
        QFile::remove(path(config));
        QFile::remove(path(config + backup));
    }
}

TEST_F(HooksInstallerTest, WithoutACodexConfigurationNothingIsDeployed)
{
    HooksInstaller installer(environment());
    installer.installCodex();
    EXPECT_EQ(message(installer), "没找到 Codex 配置文件：~/.codex/config.toml");
    EXPECT_EQ(read(codexScript), "-");
}

TEST_F(HooksInstallerTest, FilesThatCannotBeUsedEndInAFailureAndStay)
{
    // Folders where files are meant to be.
    QDir().mkpath(path(settings));
    QDir().mkpath(path(config));
    HooksInstaller installer(environment());
    installer.installClaude();
    EXPECT_EQ(message(installer), "接入失败：无法读取 " + path(settings).toStdString() + "：这是一个文件夹。");
    installer.installCodex();
    EXPECT_EQ(message(installer), "接入失败：无法读取 " + path(config).toStdString() + "：这是一个文件夹。");

    // A backup or a forward file that cannot be written stops the installation before the configuration.
    ASSERT_TRUE(QDir(path(config)).removeRecursively());
    write(config, "notify = [\"x\"]\n");
    for (const QString &blocked : {QString(config + backup), forward, codexScript}) {
        QFile::remove(path(blocked));
        QDir().mkpath(path(blocked + u"/full"_s));
        installer.installCodex();
        EXPECT_EQ(message(installer), "接入失败：无法写入 " + path(blocked).toStdString() + "：这是一个文件夹。");
        EXPECT_EQ(read(config), "notify = [\"x\"]\n");
        ASSERT_TRUE(QDir(path(blocked)).removeRecursively());
    }
}

// The scope comes before the folder, so that this belongs to the ordinary user.
class UnprivilegedHooksInstallerTest : private Unprivileged, public HooksInstallerTest
{
};

TEST_F(UnprivilegedHooksInstallerTest, WriteProtectedFilesAndFoldersStay)
{
    write(settings, "{}");
    write(config, "a = 1\n");
    const auto protect = [this](mode_t folders, mode_t files) {
        for (const QString &name : {u".claude"_s, u".codex"_s})
            ::chmod(QFile::encodeName(path(name)).constData(), folders);
        for (const QString &name : {settings, config})
            ::chmod(QFile::encodeName(path(name)).constData(), files);
    };
    for (const auto &[folders, files] : {std::pair(0500, 0600), std::pair(0700, 0444)}) {
        protect(static_cast<mode_t>(folders), static_cast<mode_t>(files));
        HooksInstaller installer(environment());
        for (const auto install : {&HooksInstaller::installClaude, &HooksInstaller::installCodex}) {
            (installer.*install)();
            EXPECT_TRUE(message(installer).starts_with("接入失败：无法写入 ")) << message(installer);
            EXPECT_TRUE(message(installer).ends_with("：没有权限。")) << message(installer);
        }
        EXPECT_EQ(read(settings), "{}");
        EXPECT_EQ(read(config), "a = 1\n");
        EXPECT_FALSE(installer.claudeInstalled() || installer.codexInstalled());
    }

    // Once the user has lifted the protection it works, also over the write-protected copies of the attempts
    // before.
    EXPECT_EQ(mode(settings + backup), 0444u);
    protect(0700, 0600);
    HooksInstaller installer(environment());
    installer.installClaude();
    EXPECT_EQ(message(installer), claudeDone);
    EXPECT_EQ(mode(settings + backup), 0600u);
    installer.installCodex();
    EXPECT_EQ(message(installer), codexDone);
}

TEST_F(HooksInstallerTest, HomeWithAQuoteIsQuotedForTheShellOnly)
{
    Environment odd = environment();
    odd.home = path(u"o'brien \"x\""_s);
    write(u"o'brien \"x\"/.codex/config.toml"_s, "");
    HooksInstaller installer(odd);
    installer.installClaude();
    EXPECT_NE(read(u"o'brien \"x\"/"_s + settings).find("\"command\": \"'"), std::string::npos);
    installer.installCodex();
    EXPECT_NE(read(u"o'brien \"x\"/"_s + config).find("/o'brien \\\"x\\\"/"), std::string::npos);
}

TEST_F(HooksInstallerTest, AFileThatIsWrittenMeanwhileIsReadAgain)
{
    write(settings, "1");
    int calls = 0;
    const auto append = [&](const HookFiles::Content &content) -> Outcome<HookFiles::Content> {
        if (++calls == 1)
            write(settings, "2");
        return HookFiles::Content(*content + "!");
    };
    EXPECT_TRUE(HookFiles::change(path(settings), append));
    EXPECT_EQ(read(settings), "2!");
    EXPECT_EQ(calls, 2);

    // One that appears or never rests.
    QFile::remove(path(settings));
    const auto disturb = [&](const HookFiles::Content &content) -> Outcome<HookFiles::Content> {
        write(settings, content.value_or(QByteArray()) + '.');
        return HookFiles::Content(QByteArray("lost"));
    };
    const Outcome<void> outcome = HookFiles::change(path(settings), disturb);
    ASSERT_FALSE(outcome);
    EXPECT_TRUE(outcome.failure().sentence.endsWith(u"正被其他程序频繁修改，请稍后再试。"_s));
    EXPECT_EQ(read(settings), ".....");
}
