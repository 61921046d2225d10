#include "Plumtide/system/TerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>

#include <signal.h>
#include <sys/eventfd.h>

namespace {

// Set before there is a handler, and never closed: one may run at any time until the process ends.
int wakeFd = -1;

void catchSignal(int /*number*/)
{
    const int savedErrno = errno;
    ::eventfd_write(wakeFd, 1);
    errno = savedErrno;
}

} // namespace

void quitOnTerminationSignals()
{
    wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeFd < 0) // out of descriptors: the default actions are better than signals without an effect
        return;
    auto *const notifier = new QSocketNotifier(wakeFd, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [] {
        eventfd_t ignored = 0;
        ::eventfd_read(wakeFd, &ignored);
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = catchSignal;
    // Reset for this signal alone: the end of a login session sends SIGTERM and SIGHUP together.
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction inherited = {};
        ::sigaction(number, nullptr, &inherited);
        if (inherited.sa_handler != SIG_IGN)
            ::sigaction(number, &action, nullptr);
    }
}
