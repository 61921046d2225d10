#pragma once

#include "Plumtide/system/Process.h"

#include <QStringList>

#include <functional>
#include <span>
#include <variant>

/// A station on the way to a session's terminal: something that runs in a terminal, and who that terminal belongs to.
struct Station
{
    Process inside; ///< The agent; or, when the way has come through tmux, what shows its session in another terminal.
    /// The process at the other end of the terminal: its window, or a program like tmux or sudo that has made one of
    /// its own. Behind it its parents, as long as they run the same program. Empty where `inside` has no terminal.
    QList<Process> owners;

    [[nodiscard]] static Station of(pid_t inside);

    [[nodiscard]] Process owner() const { return owners.value(0); }
    [[nodiscard]] bool isOwner(pid_t pid) const;
    /// Of the environment of `inside`. Environments are inherited, also from a terminal within which another was
    /// started: believe it only together with `owner`.
    [[nodiscard]] QString variable(QByteArrayView name) const { return inside.variable(name); }
};

struct Command;

/// The next entry of the table has its turn.
struct NotHere
{
};

/// The window is in front; or it has been asked to come, and is once `isThere`: after a change of the active window.
struct Reached
{
    std::function<bool()> isThere = {};
};

/// What comes next on the way. A process is where the way goes on.
using NextStep = std::variant<NotHere, Reached, pid_t, Command>;

/// A command to be run, without a shell and for a few seconds at most. One that fails is as `NotHere`.
struct Command
{
    QStringList words;
    std::function<NextStep(const QByteArray &printed)> then = {}; ///< Without it, the next entry has its turn.
};

/// One kind of terminal, or of window. `step` is asked at each station; it looks and sends, and waits for nobody.
/// Thread: main thread.
struct Terminal
{
    const char *name;
    NextStep (*step)(const Station &station);
};

/// All kinds, in the order in which they are asked: those with panes and tabs, then windows.
[[nodiscard]] std::span<const Terminal> terminals();
