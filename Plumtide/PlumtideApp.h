#pragma once

#include <memory>

class Instance;
class TaskStore;
class TerminationSignals;

/// The program: builds the services, wires them together and runs either the one-shot installation or the event
/// loop. Decides nothing of its own.
/// Thread: the main thread. A QCoreApplication (or one of its children) exists before it.
class PlumtideApp
{
public:
    // The arguments that ask for the functions of like names.
    static constexpr auto helpFlag = "--help";
    static constexpr auto versionFlag = "--version";
    static constexpr auto installFlag = "--install-hooks";
    static constexpr auto removeFlag = "--remove-hooks";
    static constexpr auto resetFlag = "--reset-mini-board";

    // Each returns the exit status.
    [[nodiscard]] static int help();    ///< Prints what the arguments do.
    [[nodiscard]] static int version(); ///< Prints the program's name and version.
    /// Registers the hooks, and prints two lines, and on standard error why they may not run.
    [[nodiscard]] static int installHooks();
    [[nodiscard]] static int removeHooks(); ///< Takes out what `installHooks` has put in, and prints two lines.
    /// Puts the mini board back to its first place, in the running program or for the next start. The exit status.
    [[nodiscard]] static int resetMiniBoard(const Instance &instance);

    static void removeTemporaries(); ///< That killed processes of the program have left, wherever it writes.

    PlumtideApp(); ///< Obtains the store, which loads the lines.
    /// Saves what could not be saved before. Where the process ends without it, as by Qt when the display goes, no
    /// event is lost, either.
    ~PlumtideApp();

    /// Keeps the board until the user or the system ends the program. `instance` has claimed the home. `isByUser`: not
    /// the desktop session has started it. The exit status.
    [[nodiscard]] int follow(Instance &instance, bool isByUser);

private:
    const bool m_isFirst; // start of all: there are no settings yet
    TaskStore &m_store;
    // After the lines were read, which a signal may end at once; before the log is, of which nothing must be lost.
    const std::unique_ptr<TerminationSignals> m_signals;
};
