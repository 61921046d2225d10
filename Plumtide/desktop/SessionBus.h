#pragma once

/// For the start of the program: keeps libdbus from starting a session bus where none is named, which would outlive the
/// program and be of no use to it. After that, `QDBusConnection::sessionBus()` is not connected there.
void neverStartSessionBus();
