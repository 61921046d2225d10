#pragma once

#include <QStringList>

/// Settings that keep registered hooks from running: a sentence each, with what to do. `managed` is the folder of the
/// administrator's settings for Claude Code. Looks at what is described in
/// https://docs.claude.com/en/docs/claude-code/settings and Codex's `config.md`. Thread: any.
[[nodiscard]] QStringList hookProblems(const QString &home,
                                       const QString &managed = QStringLiteral("/etc/claude-code"));
