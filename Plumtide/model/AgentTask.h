#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <array>
#include <optional>

/// The state of a task line.
enum class AgentTaskStatus { waiting, running, shelved, done };

/// Where a task line comes from, in the order in which the user is offered all.
enum class TaskSource { claude, codex, other };

inline constexpr std::array allAgentTaskStatuses{AgentTaskStatus::waiting, AgentTaskStatus::running,
                                                 AgentTaskStatus::shelved, AgentTaskStatus::done};
inline constexpr std::array allTaskSources{TaskSource::claude, TaskSource::codex, TaskSource::other};

/// The stored text: "waiting", "running", "shelved", "done".
[[nodiscard]] QString storedText(AgentTaskStatus status);

/// One line on the board: a session that an agent's events keep up to date, or a task that the user entered.
/// A plain value; all its rules are functions of it and of the time they are given.
struct AgentTask
{
    QString id; ///< "cc-" or "cx-" and the agent's session id, or a UUID for a line entered by hand.
    QString title;
    QString project; ///< Lines are grouped by it.
    TaskSource source = TaskSource::other;
    AgentTaskStatus status = AgentTaskStatus::waiting;
    QString purpose;
    QString currentState;
    std::optional<QString> waitingReason; ///< What the user is asked to do.
    std::optional<bool> needsApproval;    ///< True while the agent waits for a permission; absent as false.
    std::optional<bool> titleEdited;      ///< True once the user wrote the title; events leave it alone then.
    QList<QString> tags;
    QList<QString> recentEvents; ///< Oldest first.
    QDateTime updatedAt;         ///< UTC. All time rules measure from it.

    bool operator==(const AgentTask &) const = default;

    /// The id of a line of Claude Code or Codex; `session` is the agent's own id of its session.
    [[nodiscard]] static QString idOf(TaskSource agent, const QString &session);
    /// The agent whose events keep this line up to date, by the id; nothing for a line entered by hand.
    [[nodiscard]] std::optional<TaskSource> agent() const;
    [[nodiscard]] bool isAgentLine() const { return agent().has_value(); }
    /// The agent's own id of the session; empty for a line entered by hand.
    [[nodiscard]] QString session() const { return isAgentLine() ? id.sliced(3) : QString(); }
    /// It waits for the user: for a permission, or because the user entered it.
    [[nodiscard]] bool isUrgent() const;
    /// Its agent has replied, and waits for nothing but to be read.
    [[nodiscard]] bool hasReplied() const { return status == AgentTaskStatus::waiting && !isUrgent(); }
    /// An agent's reply that has waited for more than an hour.
    [[nodiscard]] bool isFaded(const QDateTime &now) const { return freshUntil().value_or(now) < now; }
    /// The last moment before an agent's reply has faded; nothing where it never does.
    [[nodiscard]] std::optional<QDateTime> freshUntil() const;
    /// A running agent line without an event for more than half an hour.
    [[nodiscard]] bool isStuck(const QDateTime &now) const;
};

/// Whether `updatedAt` lies strictly more than `seconds` before `now`.
[[nodiscard]] bool isOlderThan(const QDateTime &updatedAt, qint64 seconds, const QDateTime &now);

/// "刚刚", or a whole number and " 分钟前", " 小时前" or " 天前". A time in the future reads as "刚刚".
[[nodiscard]] QString shortAgo(const QDateTime &time, const QDateTime &now);

/// The stored form: its fields by their names, without absent ones, `updatedAt` as in "2025-03-07T09:41:05Z" (UTC).
[[nodiscard]] QJsonObject toJson(const AgentTask &task);

/// The record of a stored object, or nothing when a required field is missing or null, a field has another type,
/// or `source`, `status` or `updatedAt` does not have a stored form. Other keys are ignored.
[[nodiscard]] std::optional<AgentTask> agentTaskFrom(const QJsonObject &object);

/// The line with everything replaced that cannot be stored: lone surrogates and NULs in texts (by U+FFFD), and an
/// `updatedAt` that is no time of the years 1 to 9999 (by `now`).
[[nodiscard]] AgentTask storable(const AgentTask &task, const QDateTime &now);
