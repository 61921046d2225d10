#pragma once

#include "Plumtide/intake/SessionFollower.h"

/// Follows the records of Claude Code: the files named "*.json" in `~/.claude/sessions`, one JSON object a process.
class ClaudeRecords final : public SessionFollower
{
public:
    ClaudeRecords(QString in, OnChange onChange) : SessionFollower(std::move(onChange)), m_folder(std::move(in)) {}

    std::chrono::milliseconds read(FileWatch &watch) override;
    /// None where the bytes are no object with a text "sessionId" and a "pid" that a process can have.
    [[nodiscard]] static SessionRecord decode(const QByteArray &content);

private:
    const QString m_folder;
    QHash<QString, SessionRecord> m_known; // by the names of their files
};
