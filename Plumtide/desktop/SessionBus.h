#pragma once

/// For the start of the program: keeps libdbus from starting a session bus where none is named, which would outlive the
/// program and be of no use to it. After that, `QDBusConnection::sessionBus()` is not connected there.
void neverStartSessionBus();

/// Leaves out a session bus that takes connections and does not answer within five seconds: whoever connects to it
/// would wait for half a minute. Call it after `neverStartSessionBus`, before there is another thread.
void leaveOutMuteSessionBus();
