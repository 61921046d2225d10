#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QString>

#include <variant>

/// The edit of Claude Code's `settings.json`, as pure functions. Thread: any.
namespace ClaudeSettings {

/// Why settings are left alone.
enum class Refusal {
    NotAnObject,      ///< The outermost value is an array.
    HooksNotAnObject, ///< The member "hooks" is something else.
};

/// The new content, or why there is none. The failure is a sentence that names the file.
using Result = std::variant<QByteArray, Refusal, Failure>;

/// Adds `hookCommand` to each of the six events without a command with the hook script, unless its value is no array of
/// objects: "hooks" → event → entries → "hooks" → {"type", "command"}. Everything else keeps its value; keys are sorted
/// by their bytes, lines indented by two spaces. An empty text counts as an empty object. Fails for one that is not
/// JSON in UTF-8, has a key twice, a number that a double does not hold to its last digit, or over 500 levels.
Result edit(const QByteArray &settings, const QString &hookCommand);

/// Removes every command that runs the hook script in a `.tavvel/hooks`, and what is empty without it. Everything else
/// keeps its value. Returns the text byte for byte where there is no such command, else formats and fails as `edit`.
Outcome<QByteArray> remove(const QByteArray &settings);

/// `path` as a command for /bin/sh, which Claude Code runs it with: in single quotes where it is necessary.
[[nodiscard]] QString shellCommand(const QString &path);

} // namespace ClaudeSettings
