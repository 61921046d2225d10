#pragma once

#include "Plumtide/system/Environment.h"
#include "Plumtide/system/Outcome.h"

#include <QObject>
#include <QString>

#include <optional>

/// Connects Plumtide to the two agent tools: copies the hook scripts into the data directory and registers
/// them in Claude Code's settings and Codex's configuration, with a copy of each file as it was beside it.
/// Thread: the main thread. All file work is done before a call returns.
/// Errors: each action ends in one sentence for the user, `message`; nothing else is raised. Every file is
/// replaced as a whole, scripts and copies first, so an action that fails or is killed leaves the tool's own
/// file as it was.
class HooksInstaller final : public QObject
{
    Q_OBJECT

public:
    /// Looks at both configuration files at once, and replaces scripts that an older program deployed if one
    /// of the tools is registered.
    explicit HooksInstaller(const Environment &environment, QObject *parent = nullptr);

    [[nodiscard]] bool claudeInstalled() const { return m_claudeInstalled; } ///< As of the last `refresh`.
    [[nodiscard]] bool codexInstalled() const { return m_codexInstalled; }   ///< As of the last `refresh`.
    [[nodiscard]] const std::optional<QString> &message() const { return m_message; }
    void clearMessage() { setMessage(std::nullopt); } ///< For the view that has shown it.

    void refresh(); ///< Reads both configuration files again; what cannot be read is not registered.

    void installClaude(); ///< Registers the hook script for the six events in `~/.claude/settings.json`.
    void installCodex();  ///< Registers the notify script in `~/.codex/config.toml`, if there is such a file.

Q_SIGNALS:
    void objectWillChange(); ///< Before each assignment of one of the three published fields, changed or not.

private:
    Outcome<void> deployScripts();
    void setMessage(const std::optional<QString> &message);
    void reportFailure(const Failure &failure);

    // Absolute paths.
    const QString m_home;
    const QString m_claudeSettings;
    const QString m_codexConfig;
    const QString m_resourcesDir; // empty when the program has none

    bool m_claudeInstalled = false;
    bool m_codexInstalled = false;
    std::optional<QString> m_message;
};
