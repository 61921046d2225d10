#pragma once

#include <memory>

class TaskStore;
class TerminationSignals;

/// The program: builds the services, wires them together and runs either the one-shot installation or the event
/// loop. Decides nothing of its own.
/// Thread: the main thread. A QCoreApplication (or one of its children) exists before it.
class PlumtideApp
{
public:
    enum class Mode {
        InstallHooks, ///< Registers the hooks, prints two lines, ends.
        Follow,       ///< Keeps the board until the user or the system ends the program.
    };
    static constexpr auto installFlag = "--install-hooks";  ///< The argument that asks for the first.
    static constexpr auto resetFlag = "--reset-mini-board"; ///< The argument that asks for `resetMiniBoard`.

    /// Asks a program that is already running with windows to open its panel. True when it does.
    [[nodiscard]] static bool openInRunning();
    /// Puts the mini board back to its first place, in the running program or for the next start. The exit status.
    [[nodiscard]] static int resetMiniBoard();

    explicit PlumtideApp(Mode mode); ///< Obtains the store, which loads the lines and follows the events log.
    ~PlumtideApp();                  ///< Applies and saves what was taken from the log.

    [[nodiscard]] int run(); ///< The exit status.

private:
    int installHooks();
    int follow();

    const Mode m_mode;
    const std::unique_ptr<TerminationSignals> m_signals; // before the store: what it takes from the log must be kept
    TaskStore &m_store;
};
