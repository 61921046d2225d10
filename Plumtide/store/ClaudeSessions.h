#pragma once

#include "Plumtide/system/Environment.h"

#include <QSet>
#include <QString>

/// Sessions of which Claude Code keeps a record, and those of them whose process exists.
struct ClaudeSessions
{
    QSet<QString> seen;
    QSet<QString> alive;
};

/// Looks for the sessions `wanted` in the records in `directory` (`~/.claude/sessions`): every file named "*.json"
/// whose object has a text "sessionId" and a whole number "pid". No further record is read once all of them are found
/// alive. A record that cannot be read, or whose pid no process can have, is passed over: nothing is known of its
/// session then.
[[nodiscard]] ClaudeSessions aliveClaudeSessionIds(const QString &directory, const QSet<QString> &wanted,
                                                   const ProcessProbe &processExists);
