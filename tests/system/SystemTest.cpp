#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Files.h"

#include "tests/support/DiskCalls.h"
#include "tests/support/TestHome.h"
#include "tests/support/Unprivileged.h"

#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

constexpr Files::ReplaceOptions later{.isFlushed = false};
constexpr Files::ReplaceOptions program{.ownMode = 0755};

QString shell(const TestHome &home, const QString &commands)
{
    // Not QProcess: its fork lets ThreadSanitizer lose sight of the locks that follow.
    FILE *const output = ::popen(qPrintable("cd '" + home.path() + "'; " + commands), "re");
    QFile reader;
    EXPECT_TRUE(reader.open(output, QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(reader.readAll()).simplified();
    ::pclose(output);
    return text;
}

} // namespace

TEST(Files, ReplaceLeavesTheNewOrTheOldFileWithItsModeAndLinks)
{
    // What a shell does before, what is called, the error, and what is there then: "NAME:MODE:LINK'S TARGET=CONTENT".
    const std::tuple<const char *, const char *, Files::ReplaceOptions, int, const char *> rows[] = {
        {"", "f", {}, 0, "f:600:=new"},
        {"echo older >f; chmod 640 f", "f", {}, 0, "f:640:=new"},
        {"echo >r; ln -s ../r d/2; ln -s d/2 1", "1", {}, 0, "1:777:d/2=new d/2:777:../r=new r:666:=new"},
        {"echo old >r; ln -s r 1", "1", program, 0, "1:755:=new r:666:=old"},
        {"ln -s 1 1", "1", {}, ELOOP, "1:777:1="},
        {"echo old >d/f; chmod 555 d", "d/f", {}, EACCES, "d/f:666:=old"},
        {"", "d", {}, EISDIR, ""},
        {"mkfifo f", "f", {}, EINVAL, "f:666:="},
        {"echo old >f", "f", {}, EFBIG, "f:666:=old"}, // as on a full disk
    };
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit sizes = {};
    ::getrlimit(RLIMIT_FSIZE, &sizes);
    const rlimit twoBytes{2, sizes.rlim_max};
    for (const auto &[before, name, options, error, after] : rows) {
        const TestHome home;
        shell(home, QString("umask 0; chmod 777 .; mkdir d; ") + before);
        ::setrlimit(RLIMIT_FSIZE, error == EFBIG ? &twoBytes : &sizes);
        const auto ordinaryUser = error == EACCES ? std::make_unique<Unprivileged>() : nullptr;
        const Outcome<void> outcome = Files::replace(home.path(name), "new", options);
        ::setrlimit(RLIMIT_FSIZE, &sizes);
        EXPECT_EQ(outcome ? 0 : outcome.failure().code, error) << before;
        const Outcome<QByteArray> content = Files::read(home.path(name), 3);
        EXPECT_EQ(content ? 0 : content.failure().code, error == EACCES ? EFBIG : error) << before;
        EXPECT_EQ(shell(home, R"(find * .[!.]* ! -type d 2>&- | sort | while read f; do
                                  stat -c $f:%a:$(readlink $f)=$([ -f $f ] && cat $f) $f; done)"),
                  after);
    }
}

TEST(Files, ReplaceFlushesBeforeItRenamesAndLeftTemporariesAreRemoved)
{
    const TestHome home;
    const QString path = home.path("f");
    takeDiskCalls();
    EXPECT_TRUE(Files::replace(path, "old", program));
    const QString calls = takeDiskCalls();
    EXPECT_TRUE(calls.startsWith("flush .f.") && calls.contains(", rename f, flush ")) << qPrintable(calls);
    if (::fork() == 0) {
        onRename = [](const QString &) -> bool { ::_exit(9); };
        ::_exit(Files::replace(path, "half of it", later) ? 0 : 1);
    }
    ::wait(nullptr);
    EXPECT_EQ(home.read("f"), "old");
    EXPECT_TRUE(Files::replace(path, "n", later)); // what it left is in nobody's way
    EXPECT_EQ(home.read("f"), "n");
    EXPECT_EQ(takeDiskCalls(), "rename f");
    shell(home, "mkdir d; ln -s ../f d/l; touch .f.aBc123");
    const Descriptor other(::open(qPrintable(home.path()), O_RDONLY | O_CLOEXEC));
    for (const int lock : {LOCK_SH, LOCK_UN}) { // as another process holds it while it writes there
        ::flock(other.get(), lock);
        Files::removeTemporaries(home.path("d/l"));
        EXPECT_EQ(shell(home, "ls -A").count(".tavvel-new"), lock == LOCK_SH ? 1 : 0);
    }
    EXPECT_EQ(shell(home, "ls -A"), ".f.aBc123 d f");
    EXPECT_FALSE(Files::read("/proc/self/pagemap", 1 << 20)); // which has no end
}

TEST(Files, ChangesAreFlushedTogetherOnAnotherThreadAndAtTheEnd)
{
    TestHome home;
    home.defaults()->setNumber("tavvel.events.offset", 0);
    std::optional<TaskStore> store(std::in_place, home.environment());
    takeDiskCalls();
    for (int i = 0; i < 20; ++i)
        store->setTasks({AgentTask()});
    QString seen; // a second is meant; without its position, events would be applied twice
    EXPECT_TRUE(waitUntil([&] { return (seen += takeDiskCalls() + ", ").contains("+flush plumtide,"); }, 8000));
    EXPECT_TRUE(seen.contains("flush tasks.json") && seen.contains("flush .tavvel"));
    EXPECT_TRUE(!seen.contains(" flush") && seen.count("flush tasks.json") <= 3) << qPrintable(seen);
    store->setTasks({});
    store.reset();
    EXPECT_TRUE(takeDiskCalls().contains("flush tasks.json"));
    EXPECT_EQ(shell(home, "stat -c %a .tavvel .tavvel/tasks.json"), "700 600"); // nobody else's to read
}

TEST(Defaults, EachChangeIsInTheFileAtOnce)
{
    const TestHome home;
    const auto defaults = home.defaults();
    for (double i = 0; i < 200; ++i) {
        defaults->setNumber("offset", 10'000'000'000 + i);
        defaults->setNumbers("origin", {-100.5, i});
    }
    defaults->setNumber("gone", 1);
    defaults->remove("gone");
    EXPECT_EQ(shell(home, "cat .config/plumtide/*"), "[General] offset=10000000199 origin=-100.5, 199");
}
