#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Files.h"

#include "tests/support/TestHome.h"
#include "tests/support/Unprivileged.h"

#include <QSettings>

#include <mutex>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace {

constexpr Files::ReplaceOptions later{.isFlushed = false};
constexpr Files::ReplaceOptions program{.ownMode = 0755};

QString shell(const TestHome &home, const QString &commands)
{
    FILE *const output = ::popen(qPrintable(u"cd '"_s + home.path() + u"'; "_s + commands), "re");
    QFile reader;
    EXPECT_TRUE(reader.open(output, QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(reader.readAll()).simplified();
    ::pclose(output);
    return text;
}

std::mutex diskMutex;
QStringList diskCalls; // "flush NAME" and "rename NAME"; a plus sign before those on another thread than the main one
bool diesAtRename = false;

void note(const QString &call, const QString &path)
{
    const std::lock_guard lock(diskMutex);
    diskCalls += (::gettid() == ::getpid() ? u""_s : u"+"_s) + call + path.section(u'/', -1);
}

QString takeDiskCalls()
{
    const std::lock_guard lock(diskMutex);
    return std::exchange(diskCalls, {}).join(u", "_s);
}

} // namespace

// These two take the place of the C library's in this program.
extern "C" int fsync(int file)
{
    note(u"flush "_s, QFile::symLinkTarget(u"/proc/self/fd/"_s + QString::number(file)));
    return static_cast<int>(::syscall(SYS_fsync, file));
}

extern "C" int rename(const char *from, const char *to) noexcept
{
    // There is no read lease for a file that is open for writing, and no start of a program, either.
    const Descriptor file(::open(from, O_RDONLY | O_CLOEXEC));
    const bool isBusy = ::fcntl(file.get(), F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN;
    note(isBusy ? u"rename busy "_s : u"rename "_s, QString::fromUtf8(to));
    if (diesAtRename)
        ::_exit(9);
    return static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

TEST(Files, ReplacingLeavesTheNewFileOrTheOldWithItsModeAndLinksAndNothingBesideIt)
{
    // What a shell does before, what is called, the error, and what is there then: "NAME:MODE:LINK'S TARGET=CONTENT".
    const std::tuple<const char *, const char *, Files::ReplaceOptions, int, const char *> rows[] = {
        {"", "f", {}, 0, "f:600:=new"},
        {"echo older >f; chmod 640 f", "f", {}, 0, "f:640:=new"},
        {"echo older >f; chmod 640 f", "f", program, 0, "f:755:=new"},
        {"echo >r; ln -s ../r d/2; ln -s d/2 1", "1", {}, 0, "1:777:d/2=new d/2:777:../r=new r:666:=new"},
        {"ln -s d/r 1", "1", {}, 0, "1:777:d/r=new d/r:600:=new"},
        {"echo old >r; ln -s r 1", "1", program, 0, "1:755:=new r:666:=old"},
        {"ln -s 1 1", "1", {}, ELOOP, "1:777:1="},
        {"echo old >d/f; chmod 555 d", "d/f", {}, EACCES, "d/f:666:=old"},
        {"echo old >f; chmod 444 f", "f", {}, EACCES, "f:444:=old"},
        {"", "d", {}, EISDIR, ""},
        {"", "no/f", {}, ENOENT, ""},
        {"mkfifo f", "f", {}, EINVAL, "f:666:="},
        {"echo old >f", "f", {}, EFBIG, "f:666:=old"}, // as on a full disk
    };
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit sizes = {};
    ::getrlimit(RLIMIT_FSIZE, &sizes);
    const rlimit twoBytes{2, sizes.rlim_max};
    for (const auto &[before, name, options, error, after] : rows) {
        const TestHome home;
        shell(home, u"umask 0; chmod 777 .; mkdir d; "_s + QString::fromUtf8(before));
        ::setrlimit(RLIMIT_FSIZE, error == EFBIG ? &twoBytes : &sizes);
        const auto ordinaryUser = error == EACCES ? std::make_unique<Unprivileged>() : nullptr;
        const Outcome<void> outcome = Files::replace(home.path(QString::fromUtf8(name)), "new", options);
        ::setrlimit(RLIMIT_FSIZE, &sizes);
        EXPECT_EQ(outcome ? 0 : outcome.failure().code, error) << before;
        const Outcome<QByteArray> content = Files::read(home.path(QString::fromUtf8(name)), 3);
        EXPECT_EQ(content ? 0 : content.failure().code, error == EACCES ? EFBIG : error) << before;
        EXPECT_EQ(shell(home, uR"(find * .[!.]* ! -type d 2>&- | sort | while read f; do
                                  stat -c $f:%a:$(readlink $f)=$([ -f $f ] && cat $f) $f; done)"_s),
                  QString::fromUtf8(after));
    }
}

TEST(Files, ANewFileIsClosedAndOnTheDiskBeforeItGetsItsNameAndAKilledWriterLeavesTheOldAndNothingForLong)
{
    const TestHome home;
    const QString path = home.path(u"f"_s);
    takeDiskCalls();
    EXPECT_TRUE(Files::replace(path, "old", program));
    const QString calls = takeDiskCalls();
    EXPECT_TRUE(calls.startsWith(u"flush .f."_s) && calls.contains(u", rename f, flush "_s)) << qPrintable(calls);
    if (::fork() == 0) {
        diesAtRename = true;
        ::_exit(Files::replace(path, "half of it", later) ? 0 : 1);
    }
    ::wait(nullptr);
    EXPECT_EQ(home.read(u"f"_s), "old");
    EXPECT_TRUE(Files::replace(path, "n", later)); // what it left is in nobody's way
    EXPECT_EQ(home.read(u"f"_s), "n");
    EXPECT_EQ(takeDiskCalls(), u"rename f"_s);
    shell(home, u"mkdir d; ln -s ../f d/l; touch .f.aBc123"_s);
    const Descriptor other(::open(qPrintable(home.path()), O_RDONLY | O_CLOEXEC));
    for (const int lock : {LOCK_SH, LOCK_UN}) { // as another process holds it while it writes there
        ::flock(other.get(), lock);
        Files::removeTemporaries(home.path(u"d/l"_s));
        EXPECT_EQ(shell(home, u"ls -A"_s).count(u".tavvel-new"_s), lock == LOCK_SH ? 1 : 0);
    }
    EXPECT_EQ(shell(home, u"ls -A"_s), u".f.aBc123 d f"_s);
    EXPECT_FALSE(Files::read(u"/proc/self/pagemap"_s, 1 << 20)); // which has no end
}

TEST(Files, ABurstOfChangesReachesTheDiskSoonInOneGoAndNeverOnTheMainThreadAndAtTheEnd)
{
    TestHome home;
    home.defaults()->setNumber(u"tavvel.events.offset"_s, 0);
    std::optional<TaskStore> store(std::in_place, home.environment());
    takeDiskCalls();
    for (int i = 0; i < 20; ++i)
        store->setTasks({AgentTask()});
    QString seen; // a second is meant; without its position, events would be applied twice
    EXPECT_TRUE(waitUntil([&] { return (seen += takeDiskCalls() + u", "_s).contains(u"+flush plumtide,"_s); }, 8000));
    EXPECT_TRUE(seen.contains(u"flush tasks.json"_s) && seen.contains(u"flush .tavvel"_s));
    EXPECT_TRUE(!seen.contains(u" flush"_s) && seen.count(u"flush tasks.json"_s) <= 3) << qPrintable(seen);
    store->setTasks({});
    store.reset();
    EXPECT_TRUE(takeDiskCalls().contains(u"flush tasks.json"_s));
    EXPECT_EQ(shell(home, u"stat -c %a .tavvel .tavvel/tasks.json"_s), u"700 600"_s); // nobody else's to read
}

TEST(Defaults, EachWriteIsInTheFileAtOnceForAnyReader)
{
    const TestHome home;
    const auto defaults = home.defaults();
    for (double i = 0; i < 200; ++i) {
        defaults->setNumber(u"offset"_s, 10'000'000'000 + i * 10);
        defaults->setNumbers(u"origin"_s, {-100.5, i});
    }
    defaults->setBoolean(u"on"_s, true);
    defaults->setNumber(u"gone"_s, 1);
    defaults->remove(u"gone"_s);
    const QSettings other(defaults->paths().first(), QSettings::IniFormat);
    EXPECT_EQ(other.allKeys(), (QStringList{u"offset"_s, u"on"_s, u"origin"_s}));
    EXPECT_EQ(other.value(u"offset"_s).toString(), u"10000001990"_s);
    EXPECT_EQ(other.value(u"origin"_s).toStringList(), (QStringList{u"-100.5"_s, u"199"_s}));
    EXPECT_TRUE(other.value(u"on"_s).toBool());
}
