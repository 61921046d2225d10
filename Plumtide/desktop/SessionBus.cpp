#include "Plumtide/desktop/SessionBus.h"

#include <QDBusConnection>
#include <QFileInfo>

#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

constexpr auto addressVariable = "DBUS_SESSION_BUS_ADDRESS";
constexpr auto noBus = "disabled:";

void preventBusAutolaunch()
{
    // Where the variable is unset, libdbus takes this socket.
    const QFileInfo ofUser(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
    if (qEnvironmentVariableIsEmpty(addressVariable) && (!ofUser.isAbsolute() || !ofUser.exists()))
        qputenv(addressVariable, noBus);
}

void skipUnresponsiveBus()
{
    if (qgetenv(addressVariable) == noBus)
        return;
    // A child process tries it and is ended by its alarm: neither Qt nor libdbus has a timeout for connecting.
    const pid_t attempt = ::fork();
    if (attempt == 0) {
        ::close(STDERR_FILENO); // Qt would say that there is no application object
        ::alarm(5);
        ::_exit(QDBusConnection::sessionBus().isConnected() ? 0 : 1);
    }
    int status = 0;
    if (attempt < 0 || ::waitpid(attempt, &status, 0) < 0 || !WIFSIGNALED(status))
        return;
    std::fputs("Plumtide: 会话总线没有回应，不用它继续运行。\n", stderr);
    qputenv(addressVariable, noBus);
}
