#pragma once

/// Keeps libdbus from starting a session bus of its own where there is none (autolaunch), which would outlive the
/// program. `QDBusConnection::sessionBus()` is then not connected. Call it at the start of the program.
void preventBusAutolaunch();

/// Does the same for a session bus that accepts connections and does not answer within five seconds; connecting to it
/// would block for half a minute. Call it after `preventBusAutolaunch`, before there is another thread.
void skipUnresponsiveBus();
