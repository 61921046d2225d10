#include "Plumtide/system/MainThreadQueue.h"

#include <QDeadlineTimer>

#include <sys/eventfd.h>

// An eventfd, since Qt handles all posted events in one go, however many are added meanwhile, and the rest waits.
MainThreadQueue::MainThreadQueue()
    : m_wakeFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), m_notifier(m_wakeFd.get(), QSocketNotifier::Read)
{
    QObject::connect(&m_notifier, &QSocketNotifier::activated, [this] { runTurn(); });
}

void MainThreadQueue::post(Work work)
{
    std::unique_lock lock(m_mutex);
    m_spaceLeft.wait(lock, [this] { return m_items.size() < capacity || !m_isOpen; });
    if (!m_isOpen)
        return;
    m_items.push_back(std::move(work));
    ::eventfd_write(m_wakeFd.get(), 1);
}

void MainThreadQueue::close()
{
    const std::lock_guard lock(m_mutex);
    m_isOpen = false;
    m_items.clear();
    m_spaceLeft.notify_all();
}

MainThreadQueue::Work MainThreadQueue::pop()
{
    const std::lock_guard lock(m_mutex);
    if (m_items.empty())
        return {};
    Work work = std::move(m_items.front());
    m_items.pop_front();
    if (m_items.size() == capacity / 2) // not for every item: a waiting thread would be woken to add just one
        m_spaceLeft.notify_all();
    return work;
}

void MainThreadQueue::runTurn()
{
    eventfd_t ignored = 0;
    ::eventfd_read(m_wakeFd.get(), &ignored);
    const QDeadlineTimer end(turnBudget);
    while (const Work work = pop()) {
        work();
        if (end.hasExpired())
            return void(::eventfd_write(m_wakeFd.get(), 1)); // the rest in the next turn of the event loop
    }
}
