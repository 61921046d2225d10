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

/// What the terminal is found by.
struct Session
{
    QString id;         ///< The agent's own; empty for a line that is no session.
    bool isCodex;       ///< Or else it is Claude Code's.
    pid_t recorded = 0; ///< The process that a record of the session names; 0 where there is none.
};

/// Activates its window, tab and pane, as far as the terminal allows it (see Terminals.h). A window that is not known
/// to be the right one is left alone. Does not block; `done` is called once, maybe before this returns, but not after
/// `context` is destroyed.
void bringToFront(const Session &session, QObject *context, const Done &done);

/// Called with nothing where it cannot be told.
using FocusFound = std::function<void(std::optional<bool> hasFocus)>;

/// As `bringToFront`, but changes nothing: finds out within 100 ms whether the terminal is seen and has the focus.
void findFocus(const Session &session, QObject *context, const FocusFound &done);

} // namespace SessionTerminal
