#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QSocketNotifier>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

/// Hands work from other threads to the main thread, one item at a time and in order, without ever keeping the
/// event loop from its other duties: after `turnBudget` of work it lets the loop turn once. It holds at most
/// `capacity` items; a poster that is faster than the main thread waits, so a long catch-up needs no more memory
/// than a short one.
/// Thread: made and destroyed on the main thread; `post` from any other thread; the rest on the main thread.
class MainThreadQueue
{
public:
    using Work = std::function<void()>;
    static constexpr std::size_t capacity = 64;
    static constexpr std::chrono::milliseconds turnBudget{8};

    MainThreadQueue();

    void post(Work work); ///< Waits while the queue is full.
    void close();         ///< Drops what is queued and all that is posted from now on; no poster waits any more.

private:
    bool runOne(); // false when there was nothing to run
    void runTurn();

    std::mutex m_mutex;
    std::condition_variable m_spaceLeft;
    std::deque<Work> m_items;
    bool m_isOpen = true;
    const Descriptor m_wakeUp; // eventfd: readable while there may be items
    QSocketNotifier m_notifier;
};
