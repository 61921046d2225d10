#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <variant>

/// The edit of Codex's `config.toml`, as pure functions. Thread: any.
///
/// The edit is textual, one line replaced or inserted, so that comments, order and spelling survive. A TOML
/// reader then confirms it: nothing is offered that would change any other value, or make a valid file
/// invalid.
namespace CodexConfig {

/// What to write, and what must not get lost with it.
struct Edit
{
    QByteArray content;
    QStringList previousCommand; ///< The program and arguments of the old `notify`; empty if there was none.
};

/// Why a configuration stays as it is.
enum class Unchanged {
    AlreadyInstalled, ///< It mentions "codex-notify" somewhere.
    ForeignNotify,    ///< It has a `notify` key whose command cannot be read.
};

/// The failure is a whole sentence that names the file.
using Result = std::variant<Edit, Unchanged, Failure>;

/// Makes `notify` of the root table name the script, an absolute path. The key is looked for only at the
/// start of a line before the first line that begins with a bracket; without one, the new line goes above
/// that line, or to the end. A `notify` in any other spelling is left alone. A file that is not valid TOML is
/// edited without confirmation.
Result edit(const QByteArray &config, const QString &scriptPath);

/// Makes `previousLine`, or nothing where that is empty, of the line that names the script in a `.tavvel/hooks` as the
/// only word of `notify`. All other bytes stay. Without such a line the text comes back as it is.
[[nodiscard]] Outcome<QByteArray> remove(const QByteArray &config, const QByteArray &previousLine);

/// The line of `notify`, found as `edit` finds it; empty where there is none.
[[nodiscard]] QByteArray notifyLine(const QByteArray &config);

/// A `notify` line of these words.
[[nodiscard]] QByteArray notifyLine(const QStringList &command);

/// The strings of the first array on `line`; empty if the array is not closed on it. A backslash in double
/// quotes only protects the next character: TOML's escapes are not interpreted. The text is read by
/// user-perceived characters.
[[nodiscard]] QStringList tomlStringElements(const QString &line);

} // namespace CodexConfig
