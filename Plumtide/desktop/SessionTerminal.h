#pragma once

#include "Plumtide/system/Outcome.h"

#include <QObject>

#include <functional>

#include <sys/types.h>

/// The way from a line of the board to the terminal in which its session runs.
namespace SessionTerminal {

/// Nothing once the terminal is in front; otherwise a short sentence, for the place where the user has asked.
using Done = std::function<void(const Outcome<void> &)>;

/// Brings it to the front, with its window, tab and pane as far as the terminal has a way to ask for them (see
/// Terminals.h). `session` is the agent's own id, empty for a line that is no session; `recorded` is the process that
/// Claude Code's record of the session names, 0 where there is none. A window that is not known to be the right one is
/// left alone. Thread: main thread. Returns at once; `done` is called once, maybe before that, and never after
/// `context` has gone.
void bringToFront(const QString &session, bool isCodex, pid_t recorded, QObject *context, const Done &done);

} // namespace SessionTerminal
