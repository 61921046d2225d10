#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QString>

#include <variant>

/// The edit of Claude Code's `settings.json`, as pure functions. Thread: any.
namespace ClaudeSettings {

/// A shape that is left alone.
enum class Refusal {
    NotAnObject,      ///< The outermost value is an array.
    HooksNotAnObject, ///< The member "hooks" is there and is something else.
};

/// The new content, or why there is none. The failure is a whole sentence that names the file.
using Result = std::variant<QByteArray, Refusal, Failure>;

/// Adds `hookCommand` to each of the six events that has no command naming the hook script yet. An event
/// whose value is not an array of objects is passed over. Everything else keeps its value; the text comes
/// back in one form: keys sorted by their bytes, indented by two spaces. No bytes at all count as an empty
/// object. A text that cannot be given back in full is refused: one that is not JSON in UTF-8, has a key
/// twice, a number that a double does not hold to its last digit, or more than 500 levels.
/// Source of the format: Claude Code's settings, "hooks" → event → entries → "hooks" → {"type", "command"}.
Result edit(const QByteArray &settings, const QString &hookCommand);

/// Takes out every command that runs the hook script in a `.tavvel/hooks`, and what is empty without it. Everything
/// else keeps its value. Without such a command the text comes back byte for byte; otherwise in the form of `edit`, and
/// what that refuses, this does.
Result remove(const QByteArray &settings);

/// `path` as a command line of /bin/sh, which is how Claude Code runs it: itself, or in single quotes if it
/// holds a character that the shell would take for something else.
[[nodiscard]] QString shellCommand(const QString &path);

} // namespace ClaudeSettings
