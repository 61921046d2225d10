#pragma once

#include "Plumtide/system/Environment.h"

#include <QSet>
#include <QString>

#include <optional>

/// The sessions of which Claude Code keeps a record, and those of them whose process exists.
struct ClaudeSessions
{
    QSet<QString> seen;
    QSet<QString> alive;
};

/// Reads the records in `directory` (`~/.claude/sessions`): every file named "*.json" whose object has a text
/// "sessionId" and a whole number "pid". Nothing when the directory cannot be listed; a record that cannot be read,
/// or whose pid no process can have, is passed over: nothing is known of its session then.
[[nodiscard]] std::optional<ClaudeSessions> aliveClaudeSessionIds(const QString &directory,
                                                                  const ProcessProbe &processExists);
