#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <variant>

/// The edit of Codex's `config.toml`, as pure functions. Thread: any.
/// One line of the text is replaced or inserted, so that comments, order and spelling are kept. A TOML parser then
/// checks that no other value has changed, and that a valid file is still valid.
namespace CodexConfig {

/// The new content, and the command that it no longer has.
struct Edit
{
    QByteArray content;
    QStringList previousCommand; ///< The old `notify`; empty if there was none.
};

/// Why a configuration stays as it is.
enum class Unchanged {
    AlreadyInstalled, ///< It mentions "codex-notify" somewhere.
    ForeignNotify,    ///< It has a `notify` key whose command cannot be read.
};

/// The failure is a whole sentence that names the file.
using Result = std::variant<Edit, Unchanged, Failure>;

/// Sets `notify` of the root table to the script, an absolute path. The key is looked for only at the start of a line
/// above the first line that begins with a bracket; if it is missing, the new line goes above that line, or to the end.
/// A `notify` in another spelling is left alone. A file that is not valid TOML is edited without the check.
Result edit(const QByteArray &config, const QString &scriptPath);

/// Replaces the line that sets `notify` to just our script in a `.tavvel/hooks` with `previousLine`, or deletes it
/// where that is empty. All other bytes stay, all of them where there is no such line.
[[nodiscard]] Outcome<QByteArray> remove(const QByteArray &config, const QByteArray &previousLine);

/// The line of `notify`, found as `edit` finds it; empty where there is none.
[[nodiscard]] QByteArray notifyLine(const QByteArray &config);

/// A `notify` line with this command.
[[nodiscard]] QByteArray notifyLine(const QStringList &command);

/// The strings of the first array on `line`; empty if the array does not end there. A backslash in double quotes only
/// stands for the next character; TOML's escapes are not interpreted. The text is read by user-perceived characters.
[[nodiscard]] QStringList tomlStringElements(const QString &line);

} // namespace CodexConfig
