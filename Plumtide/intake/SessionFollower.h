#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <functional>
#include <optional>

#include <sys/types.h>

/// What Claude Code's own record says of a session: one JSON object in `~/.claude/sessions/PID.json`.
struct SessionRecord
{
    QString sessionId;    ///< "sessionId"
    pid_t pid = 0;        ///< "pid"
    QString processStart; ///< "procStart", see ProcessProbe; empty where the record does not say.
    /// "status": "idle" and "shell" when the turn is over, "busy" while it runs, "waiting" while a dialog is up. Empty
    /// in the records of older clients.
    QString status;
    QString waitingFor; ///< "waitingFor", of a record that waits.
    double since = 0;   ///< "statusUpdatedAt", milliseconds since 1970; 0 where the record does not say.

    bool operator==(const SessionRecord &) const = default;

    /// Nothing where the bytes are no such object with a text "sessionId" and a "pid" that a process can have. Of the
    /// other members each may be missing.
    [[nodiscard]] static std::optional<SessionRecord> decode(const QByteArray &content);
};

/// Knows the records in a folder, the files named "*.json", and hands over what has changed in them.
/// Thread: one at a time.
/// Errors: none reach the caller. A record that cannot be read or decoded is as one that is gone.
class SessionFollower
{
public:
    /// What a file held and what it holds now. They differ.
    using OnChange =
        std::function<void(const std::optional<SessionRecord> &before, const std::optional<SessionRecord> &now)>;

    SessionFollower(QString folder, OnChange onChange) : m_folder(std::move(folder)), m_onChange(std::move(onChange)) {}

    void readAll();
    void read(const QString &name); ///< One file of the folder, which may have come, changed or gone.

private:
    const QString m_folder;
    const OnChange m_onChange;
    QHash<QString, SessionRecord> m_known; // by the names of their files
};
