#pragma once

#include "Plumtide/intake/CodexThread.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/system/Process.h"

#include <QMap>

#include <limits>

/// Follows the threads that Codex has open: those of whose lock files in `~/.codex/thread-writer-locks` a process of it
/// holds the flock. No line of a rollout tells that the user is asked about a command; but one that runs has a process
/// below the holder, so a call without a process waits. Of versions before 0.146, which have no locks, nothing is read.
/// A lock is never taken, not even shared: Codex would refuse to open the thread.
class CodexThreads final : public SessionFollower
{
public:
    /// `folder` is `~/.codex`; `sessions` are known from before, and gone unless they are open.
    CodexThreads(const QString &folder, const QStringList &sessions, OnChange onChange,
                 Clock clock = &QDateTime::currentDateTimeUtc);

    std::chrono::milliseconds read(FileWatch &watch) override;

private:
    static constexpr double never = std::numeric_limits<double>::infinity();
    struct Open
    {
        Process holder;
        double heldSince = 0; // the start of the holder
        CodexThread thread;
        QString rollout;     // its path; none before the first prompt
        double lookedAt = 0; // at the holder's processes
    };

    bool readLocks(double now);
    void readRollout(const QString &id, Open &open, FileWatch &watch, double now) const;
    static double look(const QString &id, Open &open, double now);
    void handChanges(double now);

    const QString m_locks, m_sessions;
    const Clock m_clock;
    QMap<QString, Open> m_open;
    bool m_areLocksKnown = false;
    double m_settledAt = never;            // when the locks are as the last change leaves them
    QHash<QString, SessionRecord> m_known; // by session, as handed over last
};
