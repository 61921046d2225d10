#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

#include <sys/types.h>

/// The installer's own files, and those of the agent tools, which may write theirs at any moment. Thread: any.
namespace HookFiles {

// Paths below the home directory.
inline const QString claudeSettings = QStringLiteral("/.claude/settings.json");
inline const QString codexConfig = QStringLiteral("/.codex/config.toml");
inline const QString hooksDir = QStringLiteral("/.tavvel/hooks");
inline const QString claudeScript = hooksDir + QStringLiteral("/tavvel-hook.sh");
inline const QString codexScript = hooksDir + QStringLiteral("/codex-notify.sh");
inline const QString codexForward = hooksDir + QStringLiteral("/codex-notify-forward"); ///< One argument a line.
inline const QString codexClientSeen = hooksDir + QStringLiteral("/codex-client-seen"); ///< Made by a script.
// Each tool's file as it was before our first change of it.
inline const QString claudeOriginal = hooksDir + QStringLiteral("/settings.json.original");
inline const QString codexOriginal = hooksDir + QStringLiteral("/config.toml.original");

/// Of the copy of a tool's file as it was before our last change, with its mode.
inline const QString backupSuffix = QStringLiteral(".backup-tavvel");

/// The bytes of a file; absent where there is none.
using Content = std::optional<QByteArray>;

/// Reads a tool's file. A missing one, or a link to a missing one, is not a failure.
Outcome<Content> read(const QString &path);

/// The same, empty where there is none or it cannot be read.
[[nodiscard]] QByteArray contentOf(const QString &path);

/// Makes the new content; an absent result leaves the file and its backup alone.
using Edit = std::function<Outcome<Content>(const Content &)>;

/// Makes the backup of a tool's file, and replaces the file with what `edit` makes of it. Where another program has
/// written the file meanwhile, `edit` is called again with the newer content, a few times; only a change between the
/// last look and the rename is lost. No content is written that is too large to be read again.
Outcome<void> change(const QString &path, const Edit &edit);

/// Replaces a file of the installer's alone, also a write-protected one or a link, unless it has this content and mode.
Outcome<void> replaceOwn(const QString &path, const QByteArray &content, mode_t mode);

} // namespace HookFiles
