#include "Plumtide/platform/Environment.h"

#include "tests/support/Printing.h"
#include "tests/support/Unprivileged.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

TEST(Environment, AProcessExistsAlsoWhenItIsSomebodyElses)
{
    const ProcessProbe exists = Environment::real().processExists;
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    EXPECT_TRUE(exists(child)); // ended, but not yet taken note of
    ::waitpid(child, nullptr, 0);
    EXPECT_FALSE(exists(child));
    EXPECT_TRUE(exists(::getpid()));
    const Unprivileged ordinaryUser;
    EXPECT_TRUE(exists(1));
}

TEST(Environment, TheHomeIsAnAbsolutePathAlsoWithoutTheVariable)
{
    const QString home = Environment::real().home;
    EXPECT_TRUE(home.startsWith(u'/'));
    EXPECT_TRUE(home == QStringLiteral("/") || !home.endsWith(u'/'));
}
