#include "Plumtide/platform/Files.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"
#include "tests/support/Unprivileged.h"

#include <cerrno>
#include <thread>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

class FilesTest : public testing::Test
{
protected:
    QByteArray name(const QString &file) const { return QFile::encodeName(m_home.path(file)); }

    mode_t modeOf(const QString &file) const
    {
        struct stat status = {};
        ::lstat(name(file).constData(), &status);
        return status.st_mode & 07777;
    }

    bool isLink(const QString &file) const { return QFileInfo(m_home.path(file)).isSymLink(); }

    QStringList entries(const QString &directory = u"."_s) const
    {
        return QDir(m_home.path(directory)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    Outcome<void> replace(const QString &file, const QByteArray &content,
                          const Files::ReplaceOptions &options = {}) const
    {
        return Files::replace(m_home.path(file), content, options);
    }

    TestHome m_home;
};

} // namespace

TEST_F(FilesTest, ReplacingKeepsTheModeAndMakesNewFilesPrivate)
{
    ASSERT_TRUE(replace(u"new"_s, "a"));
    EXPECT_EQ(modeOf(u"new"_s), 0600u);
    for (const mode_t mode : {0600u, 0644u, 0755u, 0640u}) {
        ::chmod(name(u"new"_s).constData(), mode);
        ASSERT_TRUE(replace(u"new"_s, QByteArray(100'000, 'x'), {.flush = Files::Flush::Later}));
        EXPECT_EQ(modeOf(u"new"_s), mode);
    }
    ASSERT_TRUE(replace(u"new"_s, "", {.newFileMode = 0755, .forceMode = true}));
    EXPECT_EQ(modeOf(u"new"_s), 0755u);
    EXPECT_EQ(m_home.read(u"new"_s), "");
    EXPECT_EQ(entries(), QStringList{u"new"_s});
}

TEST_F(FilesTest, LinksStayLinksUnlessTheyAreToGive)
{
    m_home.write(u"dotfiles/real"_s, "old");
    ::symlink("dotfiles/real", name(u"second"_s).constData());
    ::symlink(name(u"second"_s).constData(), name(u"first"_s).constData());
    ::symlink("dotfiles/not-yet", name(u"dangling"_s).constData());
    ::symlink("loop", name(u"loop"_s).constData());
    ASSERT_TRUE(replace(u"first"_s, "new"));
    ASSERT_TRUE(replace(u"dangling"_s, "made"));
    EXPECT_TRUE(isLink(u"first"_s) && isLink(u"second"_s) && isLink(u"dangling"_s));
    EXPECT_EQ(m_home.read(u"dotfiles/real"_s), "new");
    EXPECT_EQ(m_home.read(u"dotfiles/not-yet"_s), "made");
    const Outcome<void> looped = replace(u"loop"_s, "x");
    ASSERT_FALSE(looped);
    EXPECT_EQ(looped.failure().code, ELOOP);

    ASSERT_TRUE(replace(u"first"_s, "own", {.links = Files::Links::Replace}));
    EXPECT_FALSE(isLink(u"first"_s));
    EXPECT_EQ(m_home.read(u"dotfiles/real"_s), "new");
}

TEST_F(FilesTest, FailuresLeaveTheOldFileAndNothingElse)
{
    m_home.write(u"folder/file"_s, "old");
    m_home.write(u"protected"_s, "old");
    ::chmod(name(u"protected"_s).constData(), 0444);
    ::chmod(name(u"folder/file"_s).constData(), 0666);
    ::chmod(name(u"folder"_s).constData(), 0555);
    ::chmod(QFile::encodeName(m_home.path()).constData(), 0777);
    ASSERT_EQ(::mkfifo(name(u"fifo"_s).constData(), 0600), 0);
    const std::pair<QString, int> cases[] = {
        {u"folder/file"_s, EACCES}, {u"folder/new"_s, EACCES},          {u"protected"_s, EACCES},
        {u"folder"_s, EISDIR},      {u"missing/file"_s, ENOENT},        {u"protected/file"_s, ENOTDIR},
        {u"fifo"_s, EINVAL},        {QString(300, u'n'), ENAMETOOLONG},
    };
    const QStringList before = entries();
    {
        const Unprivileged ordinaryUser;
        for (const auto &[file, code] : cases) {
            const Outcome<void> outcome = replace(file, "new");
            ASSERT_FALSE(outcome) << qPrintable(file);
            EXPECT_EQ(outcome.failure().code, code) << qPrintable(file);
            EXPECT_TRUE(outcome.failure().sentence.startsWith(u"无法写入 "_s + m_home.path(file) + u"："_s));
            EXPECT_TRUE(outcome.failure().sentence.endsWith(u'。'));
        }
    }
    ::chmod(name(u"folder"_s).constData(), 0755);
    EXPECT_EQ(m_home.read(u"folder/file"_s), "old");
    EXPECT_EQ(m_home.read(u"protected"_s), "old");
    EXPECT_EQ(entries(), before);
    EXPECT_EQ(entries(u"folder"_s), QStringList{u"file"_s});
}

TEST_F(FilesTest, ALeftOverTemporaryFileIsUsedUp)
{
    m_home.write(u".file.plumtide-new"_s, QByteArray(1000, 'z')); // of a process that was killed
    ASSERT_TRUE(replace(u"file"_s, "new"));
    EXPECT_EQ(m_home.read(u"file"_s), "new");
    EXPECT_EQ(entries(), QStringList{u"file"_s});
}

TEST_F(FilesTest, AReaderSeesOneWholeFileWhileSeveralProcessesReplaceIt)
{
    constexpr int writers = 4;
    constexpr int rounds = 60;
    ASSERT_TRUE(replace(u"file"_s, QByteArray(50'000, 'a')));
    pid_t children[writers];
    for (int i = 0; i < writers; ++i) {
        children[i] = ::fork();
        if (children[i] == 0) {
            int failures = 0;
            for (int round = 0; round < rounds; ++round)
                failures += replace(u"file"_s, QByteArray(50'000 + i, static_cast<char>('a' + i)),
                                    {.flush = Files::Flush::Later})
                    ? 0
                    : 1;
            ::_exit(failures);
        }
    }
    int reads = 0;
    for (int running = writers; running > 0;) {
        const QByteArray content = m_home.read(u"file"_s);
        ASSERT_GE(content.size(), 50'000);
        ASSERT_EQ(content.count(content.front()), content.size());
        ASSERT_EQ(content.size() - 50'000, content.front() - 'a');
        ++reads;
        int status = 0;
        while (running > 0 && ::waitpid(-1, &status, WNOHANG) > 0) {
            EXPECT_EQ(status, 0);
            --running;
        }
    }
    EXPECT_GT(reads, 1);
    EXPECT_EQ(entries(), QStringList{u"file"_s});
}

TEST_F(FilesTest, ReadingIsBoundedAndTakesOnlyRegularFiles)
{
    m_home.write(u"file"_s, "12345");
    EXPECT_EQ(Files::read(m_home.path(u"file"_s), 5).value(), "12345");
    ASSERT_EQ(::mkfifo(name(u"fifo"_s).constData(), 0600), 0);
    const std::pair<QString, int> cases[] = {
        {u"file"_s, EFBIG}, {u"fifo"_s, EINVAL}, {u"."_s, EISDIR}, {u"none"_s, ENOENT}};
    for (const auto &[file, code] : cases) {
        const Outcome<QByteArray> content = Files::read(m_home.path(file), 4);
        ASSERT_FALSE(content) << qPrintable(file);
        EXPECT_EQ(content.failure().code, code) << qPrintable(file);
    }
}

TEST_F(FilesTest, DirectoriesAreMadeWithTheirParents)
{
    EXPECT_TRUE(Files::makeDirectory(m_home.path(u"a/b/c"_s)));
    EXPECT_TRUE(Files::makeDirectory(m_home.path(u"a/b/c"_s)));
    EXPECT_EQ(modeOf(u"a/b"_s), 0700u);
    m_home.write(u"file"_s, "");
    for (const QString &path : {u"file"_s, u"file/x"_s}) {
        const Outcome<void> made = Files::makeDirectory(m_home.path(path));
        ASSERT_FALSE(made);
        EXPECT_EQ(made.failure().code, ENOTDIR);
    }
}

TEST_F(FilesTest, AProgramCanBeStartedWhileItIsReplaced)
{
    const QByteArray script = "#!/bin/sh\nexit 7\n";
    const Files::ReplaceOptions options{.newFileMode = 0755, .forceMode = true};
    ASSERT_TRUE(replace(u"script"_s, script, options));
    const pid_t replacing = ::fork(); // a process of its own, as the installation is; it hands no descriptor on
    if (replacing == 0) {
        for (int i = 0; i < 300; ++i)
            if (!replace(u"script"_s, script, options))
                ::_exit(1);
        ::_exit(0);
    }
    int busy = 0;
    int status = 0;
    while (::waitpid(replacing, &status, WNOHANG) == 0) {
        const pid_t started = ::fork();
        if (started == 0) {
            ::execl(name(u"script"_s).constData(), "script", nullptr);
            ::_exit(errno == ETXTBSY ? 1 : 2);
        }
        int answer = 0;
        ASSERT_EQ(::waitpid(started, &answer, 0), started);
        busy += WEXITSTATUS(answer) != 7;
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(busy, 0) << "starts failed";
}
