#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QSocketNotifier>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

/// Runs work from other threads on the main thread, in order. After `turnBudget` of work it returns to the event loop
/// once, so that timers, D-Bus and the display go on. It holds at most `capacity` items, so a long catch-up needs no
/// more memory than a short one. Thread: `post` from any other, the rest on the main thread.
class MainThreadQueue
{
public:
    using Work = std::function<void()>;
    static constexpr std::size_t capacity = 64;
    static constexpr std::chrono::milliseconds turnBudget{8};

    MainThreadQueue();

    void post(Work work); ///< Waits while the queue is full.
    void close();         ///< Drops what is queued and what is posted from now on. `post` waits no more.

private:
    [[nodiscard]] Work pop(); // empty when there is none
    void runTurn();

    std::mutex m_mutex;
    std::condition_variable m_spaceLeft;
    std::deque<Work> m_items;
    bool m_isOpen = true;
    const Descriptor m_wakeFd; // eventfd: readable while there may be items
    QSocketNotifier m_notifier;
};
