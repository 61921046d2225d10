#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/system/FileWatch.h"

#include <functional>
#include <memory>
#include <vector>

#include <sys/types.h>

/// What a session does. `asks`: a dialog is open; `interrupted`: by the user; `failed`: the turn has ended with an
/// error; `gone`: no process has the session open any more.
enum class SessionState { unknown, works, asks, turnEnded, interrupted, failed, gone };

/// What an agent's own record says of a session. One without a session id is none at all.
struct SessionRecord
{
    TaskSource agent = TaskSource::claude;
    QString sessionId = {};
    pid_t pid = 0;
    QString processStart = {}; ///< See ProcessProbe; empty where the record does not say.
    SessionState state = SessionState::unknown;
    double since = 0;        ///< Of the state, milliseconds since 1970; 0 where the record does not say.
    QString waitingFor = {}; ///< Claude Code's name for the kind of a dialog.
    QString cwd = {};
    // Of Codex alone. The texts are as short as the board shows them.
    double turnSince = 0; ///< When the turn has begun or ended, as `since`.
    QString prompt = {}, answer = {};
    QString tool = {}, toolInput = {}; ///< Which asks, or has run.

    bool operator==(const SessionRecord &) const = default;
    [[nodiscard]] QString lineId() const { return AgentTask::idOf(agent, sessionId); } ///< On the board.
};

/// Follows the records that one agent keeps of its sessions, and hands over what has changed in them. One that cannot
/// be read or decoded is as one that is gone. Thread: one at a time, except `stopReading`.
class SessionFollower
{
public:
    /// What a record said and what it says now. They differ.
    using OnChange = std::function<void(const SessionRecord &before, const SessionRecord &now)>;

    explicit SessionFollower(OnChange onChange) : m_onChange(std::move(onChange)) {}
    virtual ~SessionFollower() = default;
    Q_DISABLE_COPY_MOVE(SessionFollower)

    /// Reads what `watch` reports, and attaches what is to be watched. Answers when to read again at the latest.
    virtual std::chrono::milliseconds read(FileWatch &watch) = 0;
    void stopReading() { m_isStopping = true; } ///< Makes a running `read` return after a file. Any thread.

protected:
    const OnChange m_onChange;
    std::atomic<bool> m_isStopping = false;
};

using SessionFollowers = std::vector<std::unique_ptr<SessionFollower>>;
