#include "Plumtide/system/TerminationSignals.h"

#include <QSocketNotifier>

#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>

namespace {

// Never closed: a handler on another thread may still be about to write when the object goes.
std::atomic<int> wakeUp = -1;
static_assert(std::atomic<int>::is_always_lock_free);

void catchSignal(int /*number*/)
{
    const int savedErrno = errno;
    ::eventfd_write(wakeUp.load(), 1);
    errno = savedErrno;
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent) : QObject(parent)
{
    if (wakeUp.load() < 0)
        wakeUp = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeUp.load() < 0) // out of descriptors: the default actions are better than a signal nobody hears
        return;
    eventfd_t stale = 0;
    ::eventfd_read(wakeUp.load(), &stale);

    auto *notifier = new QSocketNotifier(wakeUp.load(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        eventfd_t count = 0;
        ::eventfd_read(wakeUp.load(), &count);
        Q_EMIT requested();
    });

    struct sigaction action = {};
    action.sa_handler = catchSignal;
    sigemptyset(&action.sa_mask);
    // Reset for this signal alone: the end of a login session sends SIGTERM and SIGHUP together.
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    for (std::size_t i = 0; i < s_numbers.size(); ++i) {
        ::sigaction(s_numbers[i], nullptr, &m_earlier[i]);
        if (m_earlier[i].sa_handler != SIG_IGN)
            ::sigaction(s_numbers[i], &action, nullptr);
    }
}

TerminationSignals::~TerminationSignals()
{
    if (wakeUp.load() < 0)
        return;
    for (std::size_t i = 0; i < s_numbers.size(); ++i)
        ::sigaction(s_numbers[i], &m_earlier[i], nullptr);
}
