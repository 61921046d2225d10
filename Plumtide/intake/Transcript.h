#pragma once

#include "Plumtide/intake/HookEvent.h"

/// The first tool call that has no result yet, by the last 64 KB of the transcript that Claude Code keeps of a session:
/// an event with the tool's name and input. `projects` is the folder of the transcripts, `~/.claude/projects`, which
/// has a folder for each project. Nothing where there is none, or no such file. Any thread.
[[nodiscard]] std::optional<HookEvent> openToolUse(const QString &projects, const QString &session);
