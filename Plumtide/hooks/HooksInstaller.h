#pragma once

#include "Plumtide/system/Environment.h"
#include "Plumtide/system/Outcome.h"

#include <QObject>
#include <QString>

#include <optional>

/// Copies the hook scripts into the data directory, and registers them in Claude Code's settings and Codex's
/// configuration. Thread: main thread, which the calls block.
/// Errors: each action sets one sentence for the user, `message`. Scripts and copies are written before the tool's own
/// file, so an action that fails or is killed leaves that as it was.
class HooksInstaller final : public QObject
{
    Q_OBJECT

public:
    /// Reads both configuration files, and where one names our scripts, replaces those of an older program.
    explicit HooksInstaller(const Environment &environment, QObject *parent = nullptr);

    [[nodiscard]] bool claudeInstalled() const { return m_claudeInstalled; } ///< As of the last `refresh`.
    [[nodiscard]] bool codexInstalled() const { return m_codexInstalled; }   ///< As of the last `refresh`.
    [[nodiscard]] const std::optional<QString> &message() const { return m_message; }
    void clearMessage() { setMessage(std::nullopt); } ///< For the view that has shown it.

    void refresh(); ///< Reads both configuration files again; one that cannot be read counts as not registered.

    void installClaude(); ///< Registers the hook script for the six events in `~/.claude/settings.json`.
    void installCodex();  ///< Registers the notify script in `~/.codex/config.toml`, if there is such a file.

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
