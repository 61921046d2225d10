#pragma once

#include "Plumtide/intake/SessionFollower.h"

/// One thread of Codex (a session, a subagent, a review), by its rollout: the file to which Codex appends a JSON object
/// a line. Times are milliseconds since 1970; one in the future counts as now. What is not understood changes nothing.
struct CodexThread
{
    /// A tool call without an output.
    struct Call
    {
        QString id, tool, input;
        bool asks = false;    ///< It waits for the user.
        bool isLocal = false; ///< It runs a process, or waits for the user before.
        double since = 0;
        double lastRun = 0; ///< When a process of it was seen; at first as `since`.
    };

    QString id;
    bool isExec = false;                              ///< The turn is one of `codex exec`.
    bool mayAsk = true;                               ///< The user is asked before a command runs.
    qint64 offset = 0;                                ///< In the rollout.
    bool isForeign = false;                           ///< The first line was not understood.
    QList<Call> calls = {};                           ///< Of the turn that runs.
    SessionRecord record{.agent = TaskSource::codex}; ///< Of the session to which it belongs; without a process.

    /// Takes what was appended to the rollout: at first, its first line and the last 64 KB.
    void read(const QString &rollout, double now);
    void take(const QByteArray &line, double now); ///< Without its line feed.
    void takeCall(const QJsonObject &payload, double at);
};
