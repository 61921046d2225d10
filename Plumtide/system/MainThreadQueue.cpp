#include "Plumtide/system/MainThreadQueue.h"

#include <QDeadlineTimer>

#include <sys/eventfd.h>

// An eventfd and a mutex of our own instead of Qt's posted events: Qt empties its list of posted events in one go,
// however much is added meanwhile, so a long catch-up would keep timers, D-Bus and the display waiting.
MainThreadQueue::MainThreadQueue()
    : m_wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), m_notifier(m_wakeUp.get(), QSocketNotifier::Read)
{
    QObject::connect(&m_notifier, &QSocketNotifier::activated, [this] { runTurn(); });
}

void MainThreadQueue::post(Work work)
{
    bool isFirst = false;
    {
        std::unique_lock lock(m_mutex);
        m_spaceLeft.wait(lock, [this] { return m_items.size() < capacity || !m_isOpen; });
        if (!m_isOpen)
            return;
        isFirst = m_items.empty();
        m_items.push_back(std::move(work));
    }
    if (isFirst) // else the main thread is on its way through the queue
        ::eventfd_write(m_wakeUp.get(), 1);
}

void MainThreadQueue::close()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isOpen = false;
        m_items.clear();
    }
    m_spaceLeft.notify_all();
}

bool MainThreadQueue::runOne()
{
    Work work;
    bool hasRoomAgain = false;
    {
        const std::lock_guard lock(m_mutex);
        if (m_items.empty())
            return false;
        work = std::move(m_items.front());
        m_items.pop_front();
        hasRoomAgain = m_items.size() == capacity / 2;
    }
    if (hasRoomAgain) // not for every item: a waiting poster would be woken to add just one
        m_spaceLeft.notify_all();
    work();
    return true;
}

void MainThreadQueue::runTurn()
{
    eventfd_t ignored = 0;
    ::eventfd_read(m_wakeUp.get(), &ignored);
    const QDeadlineTimer end(turnBudget);
    while (runOne()) {
        if (end.hasExpired())
            return void(::eventfd_write(m_wakeUp.get(), 1)); // the rest in the loop's next turn
    }
}
