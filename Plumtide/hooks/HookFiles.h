#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>

#include <functional>
#include <optional>

#include <sys/types.h>

/// What this room has to tell when it is asked by QT_LOGGING_RULES="plumtide.hooks=true".
Q_DECLARE_LOGGING_CATEGORY(hooksLog)

/// How the installer changes files: its own, and those of the agent tools, which may write them at any
/// moment.
/// Thread: any. Failures are whole sentences.
namespace HookFiles {

// Below the home directory.
inline const QString claudeSettings = QStringLiteral("/.claude/settings.json");
inline const QString codexConfig = QStringLiteral("/.codex/config.toml");
inline const QString hooksDir = QStringLiteral("/.tavvel/hooks");
inline const QString claudeScript = hooksDir + QStringLiteral("/tavvel-hook.sh");
inline const QString codexScript = hooksDir + QStringLiteral("/codex-notify.sh");
inline const QString codexForward = hooksDir + QStringLiteral("/codex-notify-forward"); ///< One argument a line.
// Each tool's file as it was before our first change of it.
inline const QString claudeOriginal = hooksDir + QStringLiteral("/settings.json.original");
inline const QString codexOriginal = hooksDir + QStringLiteral("/config.toml.original");

/// The copy of a tool's file as it was before the last change.
[[nodiscard]] inline QString backupOf(const QString &path)
{
    return path + QStringLiteral(".backup-tavvel");
}

/// The bytes of a file; absent when there is none.
using Content = std::optional<QByteArray>;

/// Reads a tool's file. A missing one, or a link that leads nowhere, is not a failure.
Outcome<Content> read(const QString &path);

/// Turns the content into the wanted one; an absent result leaves the file alone.
using Change = std::function<Outcome<Content>(const Content &)>;

/// Replaces a tool's file with what `change` makes of it, unless that is too large to be read again. Where another
/// program wrote the file while `change` ran, `change` runs again on the newer content, a few times. What remains is
/// the instant of the replacement itself. A symbolic link stays one, an existing file keeps its mode, a new one gets
/// 0600. A write-protected file stays.
Outcome<void> change(const QString &path, const Change &change);

/// Puts `content`, which was read from `path`, beside it (see `backupOf`) with its mode; and before, as `original`
/// unless that is empty.
Outcome<void> backUp(const QString &path, const QByteArray &content, const QString &original = {});

/// Replaces a file that is the installer's alone, also when it is write-protected or a symbolic link. One that has this
/// content and mode already is left as it is.
Outcome<void> replaceOwn(const QString &path, const QByteArray &content, mode_t mode);

} // namespace HookFiles
