#include "Plumtide/desktop/SessionBus.h"

#include <QFileInfo>
#include <QtGlobal>

void neverStartSessionBus()
{
    // Where the variable is unset, libdbus takes this socket.
    const QFileInfo ofUser(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") && (!ofUser.isAbsolute() || !ofUser.exists()))
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
}
