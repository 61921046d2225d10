#include "Plumtide/desktop/SessionBus.h"

#include "Plumtide/system/Descriptor.h"

#include <QDBusConnection>
#include <QFileInfo>

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr auto addressVariable = "DBUS_SESSION_BUS_ADDRESS";
constexpr auto noBus = "disabled:";

} // namespace

void neverStartSessionBus()
{
    // Where the variable is unset, libdbus takes this socket.
    const QFileInfo ofUser(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
    if (qEnvironmentVariableIsEmpty(addressVariable) && (!ofUser.isAbsolute() || !ofUser.exists()))
        qputenv(addressVariable, noBus);
}

void leaveOutMuteSessionBus()
{
    if (qgetenv(addressVariable) == noBus)
        return;
    // A process of its own tries it, since neither Qt nor libdbus gives up a connection that is being made.
    std::array<int, 2> ends{-1, -1};
    const pid_t attempt = ::pipe2(ends.data(), O_CLOEXEC) == 0 ? ::fork() : -1;
    const Descriptor end(ends[0]); // is at its end when the attempt is
    Descriptor held(ends[1]);
    if (attempt == 0) {
        ::close(STDERR_FILENO); // Qt would say that there is no application object
        const bool isConnected = QDBusConnection::sessionBus().isConnected();
        ::_exit(isConnected ? 0 : 1);
    }
    if (attempt < 0)
        return;
    held.reset();
    constexpr int patience = 5000; // milliseconds
    pollfd waiting{.fd = end.get(), .events = POLLIN, .revents = 0};
    if (::poll(&waiting, 1, patience) == 0) {
        std::fputs("Plumtide: 会话总线没有回应，不用它继续运行。\n", stderr);
        qputenv(addressVariable, noBus);
        ::kill(attempt, SIGKILL);
    }
    ::waitpid(attempt, nullptr, 0);
}
