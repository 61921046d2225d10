#include "Plumtide/model/AgentTask.h"

#include "Plumtide/model/JsonMember.h"

#include <QJsonArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 fadedAfterSeconds = 3600;
constexpr qint64 stuckAfterSeconds = 1800;

constexpr std::array idPrefixes{"cc-"_L1, "cx-"_L1}; // by TaskSource
constexpr std::array statusTexts{"waiting"_L1, "running"_L1, "shelved"_L1, "done"_L1};
constexpr std::array sourceTexts{"Claude"_L1, "Codex"_L1, "Other"_L1};

template <typename Case, typename Texts>
std::optional<Case> caseOf(const Texts &texts, QStringView text)
{
    const auto found = std::find(texts.begin(), texts.end(), text);
    return found == texts.end() ? std::nullopt : std::optional(static_cast<Case>(found - texts.begin()));
}

// Empty outside of the years 1 to 9999.
QString storedTime(const QDateTime &time)
{
    return time.toUTC().toString(Qt::ISODate);
}

std::optional<QDateTime> storedTimeFrom(const QString &text)
{
    // Qt's ISO parser alone would also take fractions, other zones and odd separators.
    const QDateTime time = QDateTime::fromString(text, Qt::ISODate).toUTC();
    return time.isValid() && storedTime(time) == text ? std::optional(time) : std::nullopt;
}

} // namespace

QString storedText(AgentTaskStatus status)
{
    return statusTexts[static_cast<std::size_t>(status)];
}

QString AgentTask::idOf(TaskSource agent, const QString &session)
{
    return idPrefixes.at(static_cast<std::size_t>(agent)) + session;
}

std::optional<TaskSource> AgentTask::agent() const
{
    return caseOf<TaskSource>(idPrefixes, QStringView(id).left(idPrefixes[0].size()));
}

bool AgentTask::isUrgent() const
{
    return status == AgentTaskStatus::waiting && (needsApproval.value_or(false) || !isAgentLine());
}

std::optional<QDateTime> AgentTask::freshUntil() const
{
    return hasReplied() ? std::optional(updatedAt.addSecs(fadedAfterSeconds)) : std::nullopt;
}

bool AgentTask::isStuck(const QDateTime &now) const
{
    return status == AgentTaskStatus::running && isAgentLine() && isOlderThan(updatedAt, stuckAfterSeconds, now);
}

bool isOlderThan(const QDateTime &updatedAt, qint64 seconds, const QDateTime &now)
{
    return updatedAt < now.addSecs(-seconds);
}

QString shortAgo(const QDateTime &time, const QDateTime &now)
{
    const qint64 seconds = time.msecsTo(now) / 1000;
    if (seconds < 60)
        return u"刚刚"_s;
    if (seconds < 3600)
        return QString::number(seconds / 60) + u" 分钟前"_s;
    if (seconds < 86400)
        return QString::number(seconds / 3600) + u" 小时前"_s;
    return QString::number(seconds / 86400) + u" 天前"_s;
}

QJsonObject toJson(const AgentTask &task)
{
    // An object does not take undefined values.
    const auto value = [](const auto &field) { return field ? QJsonValue(*field) : QJsonValue(QJsonValue::Undefined); };
    return {{u"id"_s, task.id},
            {u"title"_s, task.title},
            {u"project"_s, task.project},
            {u"source"_s, QString(sourceTexts[static_cast<std::size_t>(task.source)])},
            {u"status"_s, storedText(task.status)},
            {u"purpose"_s, task.purpose},
            {u"currentState"_s, task.currentState},
            {u"waitingReason"_s, value(task.waitingReason)},
            {u"needsApproval"_s, value(task.needsApproval)},
            {u"titleEdited"_s, value(task.titleEdited)},
            {u"tags"_s, QJsonArray::fromStringList(task.tags)},
            {u"recentEvents"_s, QJsonArray::fromStringList(task.recentEvents)},
            {u"updatedAt"_s, storedTime(task.updatedAt)}};
}

std::optional<AgentTask> agentTaskFrom(const QJsonObject &object)
{
    AgentTask task;
    const auto read = [&object](QLatin1StringView key, auto &member) { return readMember(object.value(key), member); };
    const auto source = caseOf<TaskSource>(sourceTexts, object["source"_L1].toString());
    const auto status = caseOf<AgentTaskStatus>(statusTexts, object["status"_L1].toString());
    const std::optional<QDateTime> updatedAt = storedTimeFrom(object["updatedAt"_L1].toString());
    if (!source || !status || !updatedAt || !read("id"_L1, task.id) || !read("title"_L1, task.title)
        || !read("project"_L1, task.project) || !read("purpose"_L1, task.purpose)
        || !read("currentState"_L1, task.currentState) || !read("waitingReason"_L1, task.waitingReason)
        || !read("needsApproval"_L1, task.needsApproval) || !read("titleEdited"_L1, task.titleEdited)
        || !read("tags"_L1, task.tags) || !read("recentEvents"_L1, task.recentEvents))
        return std::nullopt;
    task.source = *source;
    task.status = *status;
    task.updatedAt = *updatedAt;
    return task;
}

AgentTask storable(const AgentTask &task, const QDateTime &now)
{
    const QDateTime time = storedTime(task.updatedAt).isEmpty() ? now : task.updatedAt;
    QJsonObject object = toJson(task);
    object[u"updatedAt"_s] = storedTime(time);
    AgentTask stored = agentTaskFrom(object).value_or(AgentTask());
    stored.updatedAt = time; // with its fraction of a second
    return stored;
}
