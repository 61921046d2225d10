#include "Plumtide/platform/MainThreadQueue.h"
#include "Plumtide/platform/SerialQueue.h"

#include "tests/support/TestHome.h"

#include <QTimer>

#include <thread>
#include <vector>

#include <sys/eventfd.h>
#include <unistd.h>

using namespace std::chrono_literals;

TEST(SerialQueue, RunsWorkInOrderOnItsOwnThread)
{
    std::vector<int> order;
    std::thread::id thread;
    {
        SerialQueue queue("test");
        std::atomic<bool> isDone = false;
        for (int i = 0; i < 1000; ++i)
            queue.async([&order, &thread, i] {
                thread = std::this_thread::get_id();
                order.push_back(i);
            });
        queue.async([&isDone] { isDone = true; });
        ASSERT_TRUE(waitUntil([&] { return isDone.load(); }));
    }
    ASSERT_EQ(order.size(), 1000u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(SerialQueue, ServesDescriptorsAndTheTimerBetweenItems)
{
    const int readable = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::atomic<int> reads = 0;
    std::atomic<int> ticks = 0;
    SerialQueue queue("test");
    queue.async([&] {
        queue.watch(readable, [&] {
            eventfd_t ignored = 0;
            ::eventfd_read(readable, &ignored);
            if (++reads == 2)
                queue.unwatch(readable); // from its own handler
        });
        queue.startTimer(10ms, [&] { ++ticks; });
    });
    for (int i = 1; i <= 2; ++i) {
        ::eventfd_write(readable, 1);
        ASSERT_TRUE(waitUntil([&] { return reads == i; }));
    }
    ::eventfd_write(readable, 1);
    const int before = ticks;
    ASSERT_TRUE(waitUntil([&] { return ticks > before + 2; }));
    EXPECT_EQ(reads, 2);
    queue.stop();
    queue.stop();
    ::close(readable);
}

TEST(SerialQueue, StoppingDropsWhatWaitsButEndsWhatRuns)
{
    std::atomic<int> ran = 0;
    SerialQueue queue("test");
    std::atomic<bool> hasBegun = false;
    std::atomic<bool> mayEnd = false;
    queue.async([&] {
        hasBegun = true;
        while (!mayEnd)
            std::this_thread::yield();
        ++ran;
    });
    queue.async([&] { ran += 100; });
    while (!hasBegun)
        std::this_thread::yield();
    std::thread stopper([&] { queue.stop(); });
    mayEnd = true;
    stopper.join();
    EXPECT_TRUE(ran == 1 || ran == 101); // the second may have got in before the stop
    const int before = ran;
    queue.async([&] { ran += 1000; });
    EXPECT_EQ(ran, before);
}

TEST(MainThreadQueue, KeepsTheOrderOfItsPosterAndLetsTheLoopTurn)
{
    constexpr int count = 5000;
    MainThreadQueue queue;
    std::vector<int> order;
    std::thread poster([&] {
        for (int i = 0; i < count; ++i)
            queue.post([&order, i] {
                order.push_back(i);
                std::this_thread::sleep_for(20us); // work that takes its time
            });
    });
    int turns = 0;
    QTimer timer; // starved for as long as the queue does not return to the loop
    QObject::connect(&timer, &QTimer::timeout, [&turns] { ++turns; });
    timer.start(0);
    ASSERT_TRUE(waitUntil([&] { return order.size() == count; }));
    poster.join();
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_GE(turns, 5);
}

TEST(MainThreadQueue, AFasterPosterWaitsAndTheEndReleasesIt)
{
    constexpr std::size_t count = 3 * MainThreadQueue::capacity;
    MainThreadQueue queue;
    std::atomic<std::size_t> posted = 0;
    std::size_t ran = 0;
    std::thread poster([&] {
        for (std::size_t i = 0; i < count; ++i) {
            queue.post([&ran] { ++ran; });
            ++posted;
        }
    });
    while (posted < MainThreadQueue::capacity)
        std::this_thread::yield();
    std::this_thread::sleep_for(5ms); // time in which it could run on if nothing held it
    EXPECT_EQ(posted, MainThreadQueue::capacity);
    EXPECT_EQ(ran, 0u);
    queue.stopHolding();
    poster.join();
    queue.runAll();
    EXPECT_EQ(ran, count);
}
