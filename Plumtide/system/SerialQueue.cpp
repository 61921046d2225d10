#include "Plumtide/system/SerialQueue.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

namespace {

using SteadyClock = std::chrono::steady_clock;

timespec untilDeadline(SteadyClock::time_point deadline)
{
    const auto left = std::max(deadline - SteadyClock::now(), SteadyClock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left - seconds);
    return {.tv_sec = seconds.count(), .tv_nsec = nanoseconds.count()};
}

} // namespace

class SerialQueue::Loop
{
public:
    explicit Loop(std::string label)
        : m_label(std::move(label)), m_wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), m_thread([this] { run(); })
    {
    }

    ~Loop() { ::close(m_wakeUp); }

    void async(Work work)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_work.push_back(std::move(work));
        }
        wakeUp();
    }

    void stop()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_isStopping = true;
        }
        wakeUp();
        if (m_thread.joinable())
            m_thread.join();
    }

    void watch(int descriptor, Work readable) { m_watched.insert_or_assign(descriptor, std::move(readable)); }
    void unwatch(int descriptor) { m_watched.erase(descriptor); }

    void startTimer(std::chrono::milliseconds interval, Work tick)
    {
        m_timer = Timer{interval, SteadyClock::now() + interval, std::move(tick)};
    }

private:
    struct Timer
    {
        std::chrono::milliseconds interval;
        SteadyClock::time_point next;
        Work tick;
    };

    void wakeUp()
    {
        const eventfd_t one = 1;
        ::eventfd_write(m_wakeUp, one);
    }

    void run()
    {
        ::pthread_setname_np(::pthread_self(), m_label.substr(0, 15).c_str());
        while (runWork()) {
            const std::vector<int> ready = waitForWork();
            for (int descriptor : ready) {
                // Looked up anew each time: a handler may have unwatched it. Copied, since it may unwatch itself.
                const auto handler = m_watched.find(descriptor);
                if (handler == m_watched.end())
                    continue;
                const Work readable = handler->second;
                readable();
            }
            if (m_timer && SteadyClock::now() >= m_timer->next) {
                // The next one of the series that is still to come.
                const auto late = SteadyClock::now() - m_timer->next;
                m_timer->next += m_timer->interval * (late / m_timer->interval + 1);
                m_timer->tick();
            }
        }
    }

    // Runs what was submitted; false when the queue is to end.
    bool runWork()
    {
        for (;;) {
            Work work;
            {
                const std::lock_guard lock(m_mutex);
                if (m_isStopping)
                    return false;
                if (m_work.empty())
                    return true;
                work = std::move(m_work.front());
                m_work.pop_front();
            }
            work();
        }
    }

    // Sleeps until something is submitted, readable or due; the descriptors that are readable.
    std::vector<int> waitForWork()
    {
        std::vector<pollfd> descriptors{{.fd = m_wakeUp, .events = POLLIN, .revents = 0}};
        for (const auto &[descriptor, readable] : m_watched)
            descriptors.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
        const std::optional<timespec> timeout = m_timer ? std::optional(untilDeadline(m_timer->next)) : std::nullopt;
        std::vector<int> ready;
        if (::ppoll(descriptors.data(), descriptors.size(), timeout ? &*timeout : nullptr, nullptr) <= 0)
            return ready;
        eventfd_t ignored = 0;
        if (descriptors.front().revents != 0)
            ::eventfd_read(m_wakeUp, &ignored);
        for (auto it = descriptors.begin() + 1; it != descriptors.end(); ++it) {
            if (it->revents != 0)
                ready.push_back(it->fd);
        }
        return ready;
    }

    const std::string m_label;
    const int m_wakeUp; // eventfd: readable while something was submitted
    std::mutex m_mutex; // guards the next two
    std::deque<Work> m_work;
    bool m_isStopping = false;
    // The queue's own thread only:
    std::map<int, Work> m_watched;
    std::optional<Timer> m_timer;
    std::thread m_thread; // last: it uses all of the above
};

SerialQueue::SerialQueue(std::string label) : m_loop(std::make_unique<Loop>(std::move(label))) {}

SerialQueue::~SerialQueue()
{
    stop();
}

void SerialQueue::async(Work work)
{
    m_loop->async(std::move(work));
}

void SerialQueue::watch(int descriptor, Work readable)
{
    m_loop->watch(descriptor, std::move(readable));
}

void SerialQueue::unwatch(int descriptor)
{
    m_loop->unwatch(descriptor);
}

void SerialQueue::startTimer(std::chrono::milliseconds interval, Work tick)
{
    m_loop->startTimer(interval, std::move(tick));
}

void SerialQueue::stop()
{
    m_loop->stop();
}
