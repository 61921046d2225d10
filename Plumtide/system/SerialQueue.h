#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

/// A thread of its own that runs submitted work one item at a time, in the order of submission, and serves one
/// repeating timer and any number of readable descriptors between the items.
/// Thread: `async` and `stop` may be called from any other thread; `watch`, `unwatch` and `startTimer` only from
/// work that runs on the queue. Nothing wakes the thread while there is nothing to do.
class SerialQueue
{
public:
    using Work = std::function<void()>;

    /// `label` names the thread (the system shows its first 15 bytes).
    explicit SerialQueue(std::string label);
    ~SerialQueue(); ///< As `stop`.
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    void async(Work work);

    /// Calls `readable` whenever `descriptor` has something to read, until `unwatch`. The caller keeps the
    /// descriptor open until then.
    void watch(int descriptor, Work readable);
    void unwatch(int descriptor);

    /// First after one interval, then at that interval. A tick that the queue was too busy for is not made up for.
    void startTimer(std::chrono::milliseconds interval, Work tick);

    /// Lets the running item end, drops what waits, and joins the thread. May be called again.
    void stop();

private:
    class Loop;
    std::unique_ptr<Loop> m_loop;
};
