#pragma once

class Instance;
class QString;
struct Services;

/// What the program does by its arguments, and what it does without one. Decides nothing of its own.
/// Thread: the main thread. Only `help`, `version` and `removeTemporaries` need no QCoreApplication.
namespace PlumtideApp {

// The arguments that ask for the functions of like names.
inline constexpr auto helpFlag = "--help";
inline constexpr auto versionFlag = "--version";
inline constexpr auto installFlag = "--install-hooks";
inline constexpr auto removeFlag = "--remove-hooks";
inline constexpr auto resetFlag = "--reset-mini-board";

/// Of killed processes of the program, wherever it writes in `home`.
void removeTemporaries(const QString &home);

// Each of these returns the exit status.
[[nodiscard]] int help();    ///< Prints what the arguments do.
[[nodiscard]] int version(); ///< Prints the program's name and version.
/// Registers the hooks, and prints two lines, and on standard error why they may not run.
[[nodiscard]] int installHooks();
[[nodiscard]] int removeHooks(const QString &home); ///< Undoes `installHooks`, and prints two lines.
/// Puts the mini board back to its first place: in the running program, or for the next start.
[[nodiscard]] int resetMiniBoard(const QString &home, const Instance &instance);
/// Keeps the board until the user or the system ends the program. `instance` has claimed the home.
[[nodiscard]] int follow(Services &services, Instance &instance, bool opensPanel);

} // namespace PlumtideApp
