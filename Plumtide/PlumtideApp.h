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
    static constexpr auto installFlag = "--install-hooks"; ///< The argument that asks for the first.

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
