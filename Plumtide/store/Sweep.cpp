#include "Plumtide/store/ClaudeSessions.h"
#include "Plumtide/store/TaskFile.h"
#include "Plumtide/store/TaskStore.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Seconds since a line's last change.
constexpr qint64 livenessAge = 300;  // a session must be this quiet before its process is looked for
constexpr qint64 idleAge = 7200;     // a running line that is silent for longer is closed
constexpr qint64 purgeAge = 604'800; // a finished line is dropped after seven days

} // namespace

void TaskStore::sweep()
{
    warnOfStuckLines();
    closeLinesOfEndedSessions();
    closeSilentLines();
    purgeOldLines();
    m_file->startFlushing(); // and not a second later: that would wake the program once more
    // Ages and markings on the board depend on the time alone.
    Q_EMIT objectWillChange();
}

void TaskStore::warnOfStuckLines()
{
    const QDateTime time = now();
    const QList<AgentTask> lines = m_tasks;
    for (const AgentTask &line : lines) {
        if (!line.isStuck(time) || m_stuckNotified.contains(line.id))
            continue;
        m_stuckNotified.insert(line.id);
        notify(line.project, u"有个会话 30 分钟没动静了，可能卡住了，去看一眼。"_s, u"stuck-"_s + line.id);
    }
}

void TaskStore::closeLinesOfEndedSessions()
{
    const std::optional<ClaudeSessions> sessions =
        aliveClaudeSessionIds(m_environment.home + u"/.claude/sessions"_s, m_environment.processExists);
    if (!sessions)
        return;
    const QDateTime time = now();
    for (qsizetype i = 0; i < m_tasks.size(); ++i) {
        const AgentTask &line = m_tasks.at(i);
        const bool isOpen = line.status == AgentTaskStatus::waiting || line.status == AgentTaskStatus::running;
        if (!line.id.startsWith(u"cc-"_s) || !isOpen || !isOlderThan(line.updatedAt, livenessAge, time))
            continue;
        const QString sessionId = line.id.sliced(3);
        if (sessions->seen.contains(sessionId) && !sessions->alive.contains(sessionId))
            closeLine(i, u"会话已关闭"_s);
    }
}

void TaskStore::closeSilentLines()
{
    const QDateTime time = now();
    for (qsizetype i = 0; i < m_tasks.size(); ++i) {
        const AgentTask &line = m_tasks.at(i);
        if (line.isAgentLine() && line.status == AgentTaskStatus::running && isOlderThan(line.updatedAt, idleAge, time))
            closeLine(i, u"长时间无动静，判定会话已结束"_s);
    }
}

void TaskStore::purgeOldLines()
{
    const QDateTime time = now();
    QList<AgentTask> kept = m_tasks;
    kept.removeIf([&time](const AgentTask &line) {
        return line.status == AgentTaskStatus::done && isOlderThan(line.updatedAt, purgeAge, time);
    });
    // Saves also when nothing was dropped.
    if (kept.size() != m_tasks.size()) {
        setTasks(std::move(kept));
        return;
    }
    Q_EMIT objectWillChange();
    save();
}

void TaskStore::closeLine(qsizetype index, const QString &reason)
{
    // `updatedAt` stays: the days until the line is dropped count from its last event.
    AgentTask line = m_tasks.at(index);
    line.status = AgentTaskStatus::done;
    replaceLine(index, line);
    addEvent(line, reason, now());
    replaceLine(index, std::move(line));
}
