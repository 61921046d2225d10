#pragma once

#include "Plumtide/system/Outcome.h"

#include <QObject>

#include <functional>
#include <optional>

#include <sys/types.h>

/// The terminal in which a session runs.
namespace SessionTerminal {

/// Called with a short sentence for the user where the terminal was not brought to the front.
using Done = std::function<void(const Outcome<void> &)>;

/// Activates its window, tab and pane, as far as the terminal allows it (see Terminals.h). `session` is the agent's own
/// id, empty for a line that is no session; `recorded` is the process in Claude Code's record of the session, 0 where
/// there is none. A window that is not known to be the right one is left alone. Does not block; `done` is called once,
/// maybe before this returns, but not after `context` is destroyed.
void bringToFront(const QString &session, bool isCodex, pid_t recorded, QObject *context, const Done &done);

/// Called with nothing where it cannot be told.
using FocusFound = std::function<void(std::optional<bool> hasFocus)>;

/// As `bringToFront`, but changes nothing: finds out within 100 ms whether the terminal is seen and has the focus.
void findFocus(const QString &session, bool isCodex, pid_t recorded, QObject *context, const FocusFound &done);

} // namespace SessionTerminal
