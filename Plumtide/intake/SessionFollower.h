#pragma once

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>

#include <atomic>
#include <functional>
#include <optional>

#include <sys/types.h>

/// What Claude Code's own record says of a session: one JSON object in `~/.claude/sessions/PID.json`. One without a pid
/// is none at all.
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

    /// None where the bytes are no object with a text "sessionId" and a "pid" that a process can have.
    [[nodiscard]] static SessionRecord decode(const QByteArray &content);
};

/// Knows the records in a folder, the files named "*.json", and hands over what has changed in them.
/// Thread: one at a time.
/// Errors: none reach the caller. A record that cannot be read or decoded is as one that is gone.
class SessionFollower
{
public:
    /// What a file held and what it holds now. They differ.
    using OnChange = std::function<void(const SessionRecord &before, const SessionRecord &now)>;

    SessionFollower(QString folder, OnChange onChange) : m_folder(std::move(folder)), m_onChange(std::move(onChange)) {}

    /// Looks at the files that may have come, changed or gone; at all where it is not known which.
    void read(const std::optional<QSet<QString>> &names);
    void stopReading() { m_isStopping = true; } ///< Makes a running `read` return after a file. Any thread.

private:
    const QString m_folder;
    const OnChange m_onChange;
    std::atomic<bool> m_isStopping = false;
    QHash<QString, SessionRecord> m_known; // by the names of their files
};
