#pragma once

#include "Plumtide/intake/HookEvent.h"

/// The first tool call without a result, with the tool's name and input, in the last 64 KB of a session's transcript.
/// `projects` is `~/.claude/projects`, where Claude Code has a folder of transcripts for each project. Any thread.
[[nodiscard]] std::optional<HookEvent> openToolUse(const QString &projects, const QString &session);
