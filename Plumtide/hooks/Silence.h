#pragma once

#include <QStringList>

/// Why agents whose hooks are registered in `home` may run none of them, as far as it can be seen: a sentence each,
/// with what to do. `managed` is the folder of the settings that an administrator gives Claude Code. What is looked at:
/// https://docs.claude.com/en/docs/claude-code/settings and Codex's `config.md`.
[[nodiscard]] QStringList reasonsForSilence(const QString &home,
                                            const QString &managed = QStringLiteral("/etc/claude-code"));
