#include "Plumtide/platform/DataDirLock.h"

#include "tests/support/TestHome.h"

#include <csignal>
#include <memory>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

TEST(DataDirLock, OneOwnerHoweverTheHomeIsNamedAndNothingIsLeftBehind)
{
    TestHome home;
    TestHome links;
    const QString link = links.path(u"link"_s);
    ASSERT_EQ(::symlink(QFile::encodeName(home.path()).constData(), QFile::encodeName(link).constData()), 0);
    auto first = std::make_unique<DataDirLock>(home.path(), home.path(u".tavvel"_s));
    EXPECT_TRUE(first->isOwner());
    EXPECT_FALSE(DataDirLock(home.path(), home.path(u".tavvel"_s)).isOwner());
    EXPECT_FALSE(DataDirLock(link, link + u"/.tavvel"_s).isOwner());
    EXPECT_TRUE(DataDirLock(links.path(), links.path(u".tavvel"_s)).isOwner());
    first.reset();
    EXPECT_TRUE(DataDirLock(home.path(), home.path(u".tavvel"_s)).isOwner());
    EXPECT_TRUE(QDir(home.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    EXPECT_TRUE(DataDirLock(home.path(u"missing"_s), home.path(u"missing/.tavvel"_s)).isOwner());
}

TEST(DataDirLock, WaitsForAnotherOwnerAndTakesNoShortageForOwnership)
{
    TestHome home;
    auto owner = std::make_unique<DataDirLock>(home.path(), home.path(u".tavvel"_s));
    std::thread ending([&owner] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // an installation that ends
        owner.reset();
    });
    EXPECT_TRUE(DataDirLock(home.path(), home.path(u".tavvel"_s), std::chrono::seconds(20)).isOwner());
    ending.join();

    rlimit before = {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    const bool isOwner = DataDirLock(home.path(), home.path(u".tavvel"_s)).isOwner();
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_FALSE(isOwner);
}

TEST(DataDirLock, EndsWithItsProcessAlsoAKilledOne)
{
    TestHome home;
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t owner = ::fork();
    if (owner == 0) {
        const DataDirLock lock(home.path(), home.path(u".tavvel"_s));
        const char answer = lock.isOwner() ? 'y' : 'n';
        [[maybe_unused]] const auto written = ::write(ready[1], &answer, 1);
        ::pause();
        ::_exit(0);
    }
    char answer = 0;
    ASSERT_EQ(::read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    EXPECT_FALSE(DataDirLock(home.path(), home.path(u".tavvel"_s)).isOwner());
    ::kill(owner, SIGKILL);
    ::waitpid(owner, nullptr, 0);
    EXPECT_TRUE(DataDirLock(home.path(), home.path(u".tavvel"_s)).isOwner());
    ::close(ready[0]);
    ::close(ready[1]);
}
