#pragma once

#include "Plumtide/system/Environment.h"

#include <QObject>
#include <QStringList>

#include <optional>

/// Copies the hook scripts into the data directory, and registers them in Claude Code's settings and Codex's
/// configuration. The calls block. Each action sets one sentence for the user, `message`. Scripts and copies are
/// written before the tool's own file, so an action that fails or is killed leaves that as it was.
class HooksInstaller final : public QObject
{
    Q_OBJECT

public:
    /// Reads both configuration files, and where one names our scripts, replaces those of an older program.
    explicit HooksInstaller(const Environment &environment);

    [[nodiscard]] bool claudeInstalled() const { return m_claudeInstalled; } ///< As of the last `refresh`.
    [[nodiscard]] bool codexInstalled() const { return m_codexInstalled; }   ///< As of the last `refresh`.
    [[nodiscard]] const std::optional<QString> &message() const { return m_message; }
    void clearMessage() { setMessage(std::nullopt); } ///< For the view that has shown it.

    void refresh(); ///< Reads both configuration files again; one that cannot be read counts as not registered.

    void installClaude(); ///< Registers the hook script for the six events in `~/.claude/settings.json`.
    void installCodex();  ///< Registers the notify script in `~/.codex/config.toml`, if there is such a file.

    /// Restores a tool's file byte for byte where it has not changed since, else removes only our entries, and restores
    /// an earlier `notify` command. A file of an unexpected shape is not changed. Our scripts are deleted at the end,
    /// unless a file still names them. A removal that was killed can be repeated. Returns a sentence about each tool.
    static QStringList remove(const QString &home);

    /// Settings that keep registered hooks from running, by https://docs.claude.com/en/docs/claude-code/settings and
    /// Codex's `config.md`: a sentence each, with what to do. `managed` is where the administrator has Claude Code's.
    static QStringList problems(const QString &home, const QString &managed = QStringLiteral("/etc/claude-code"));

Q_SIGNALS:
    void objectWillChange(); ///< Before each assignment to one of the three public values, changed or not.

private:
    Outcome<void> deployScripts();
    void setMessage(const std::optional<QString> &message);
    void reportFailure(const Failure &failure);

    const QString m_home, m_claudeSettings, m_codexConfig; // absolute paths
    const QString m_resourcesDir;                          // empty where the program has none

    bool m_claudeInstalled = false;
    bool m_codexInstalled = false;
    std::optional<QString> m_message;
};
