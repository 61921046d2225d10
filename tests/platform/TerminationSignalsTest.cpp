#include "Plumtide/platform/TerminationSignals.h"

#include <QTest>

#include <gtest/gtest.h>

namespace {

using Handler = void (*)(int);

Handler handlerOf(int number)
{
    struct sigaction action = {};
    ::sigaction(number, nullptr, &action);
    return action.sa_handler;
}

class TerminationSignalsTest : public testing::TestWithParam<int>
{
};

TEST_P(TerminationSignalsTest, OneThatComesBeforeTheLoopIsReportedByIt)
{
    const Handler before = handlerOf(GetParam());
    {
        TerminationSignals signalsOfTheSystem;
        int reports = 0;
        QObject::connect(&signalsOfTheSystem, &TerminationSignals::requested, [&] { ++reports; });
        ::raise(GetParam());
        EXPECT_EQ(reports, 0);
        EXPECT_TRUE(QTest::qWaitFor([&] { return reports > 0; }, 5000));
        EXPECT_EQ(reports, 1);
    }
    EXPECT_EQ(handlerOf(GetParam()), before);
}

TEST_P(TerminationSignalsTest, TheSecondEndsAProgramThatIsStuck)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            TerminationSignals signalsOfTheSystem;
            ::raise(GetParam());
            ::raise(GetParam());
            _exit(0);
        },
        testing::KilledBySignal(GetParam()), "");
}

TEST_P(TerminationSignalsTest, OneThatIsIgnoredStaysIgnored)
{
    const Handler before = ::signal(GetParam(), SIG_IGN);
    {
        TerminationSignals signalsOfTheSystem;
        EXPECT_EQ(handlerOf(GetParam()), SIG_IGN);
    }
    EXPECT_EQ(handlerOf(GetParam()), SIG_IGN);
    ::signal(GetParam(), before);
}

INSTANTIATE_TEST_SUITE_P(All, TerminationSignalsTest, testing::Values(SIGTERM, SIGINT, SIGHUP));

} // namespace
