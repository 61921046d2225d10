#pragma once

#include "Plumtide/system/Process.h"

#include <QStringList>

#include <algorithm>
#include <functional>
#include <span>
#include <variant>

/// A process that runs in a terminal, and the process at the terminal's other end.
struct TerminalLink
{
    Process inside; ///< The agent; after a step through tmux, the tmux client that shows the agent's session.
    /// The process that has made the terminal: one with a window, or a program like tmux or sudo. Followed by
    /// its ancestors, as long as they run the same program. Empty where `inside` has no terminal.
    QList<Process> owners;
    bool isShown = false; ///< `inside` is known to be in the pane or tab that its window shows.

    [[nodiscard]] static TerminalLink of(pid_t inside);

    [[nodiscard]] Process owner() const { return owners.value(0); }
    [[nodiscard]] bool isOwner(pid_t pid) const { return std::ranges::count(owners, pid, &Process::pid) > 0; }
    /// Of the environment of `inside`. A terminal that was started inside of another inherits the other's variables:
    /// believe them only if `owner` is the program that sets them.
    [[nodiscard]] QString variable(QByteArrayView name) const { return inside.variable(name); }
};

struct RunCommand;

/// The step is for another kind of terminal: the next one is tried.
using NoMatch = std::monostate;

/// The window is active; or it was asked to be, and is as soon as `isActive` says so.
struct Activated
{
    std::function<bool()> isActive = {};
};

/// What `TerminalRequest::Observe` asks for.
struct Observed
{
    bool hasFocus;
};

/// The same, of the pane or tab alone. If it is shown, the next step looks at the window.
struct PaneShown
{
    bool isShown;
};

/// The search goes on with the terminal of this process.
struct ContinueAt
{
    pid_t process;
};

/// What a step has found out.
using StepResult = std::variant<NoMatch, Activated, Observed, PaneShown, ContinueAt, RunCommand>;

/// A command to be run, without a shell and for a few seconds at most. One that fails counts as `NoMatch`.
struct RunCommand
{
    QStringList words;
    std::function<StepResult(const QByteArray &output)> then = {}; ///< Without it, the next step is tried.
};

/// To bring the terminal to the front, or to see, without any change, whether it has the focus.
enum class TerminalRequest { Activate, Observe };

/// Finds one kind of terminal or window. Sends requests, but does not wait for answers.
using TerminalStep = StepResult (*)(const TerminalLink &link, TerminalRequest request);

/// All steps in the order in which they are tried: first panes and tabs, then windows.
extern const std::span<const TerminalStep> terminalSteps;
