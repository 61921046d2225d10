#include "Plumtide/model/AgentTask.h"

#include "Plumtide/model/MemberReader.h"
#include "Plumtide/model/WellFormed.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 fadedAfterSeconds = 3600;
constexpr qint64 stuckAfterSeconds = 1800;

bool isStorableTime(const QDateTime &time)
{
    if (!time.isValid())
        return false;
    const int year = time.toUTC().date().year();
    return year >= 1 && year <= 9999;
}

QString storedTime(const QDateTime &time)
{
    return time.toUTC().toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'");
}

std::optional<QDateTime> storedTimeFrom(const QString &text)
{
    // Qt's ISO parser alone would also take fractions, other zones and odd separators.
    const QDateTime time = QDateTime::fromString(text, Qt::ISODate).toUTC();
    if (!isStorableTime(time) || storedTime(time) != text)
        return std::nullopt;
    return time;
}

} // namespace

QString storedText(AgentTaskStatus status)
{
    switch (status) {
    case AgentTaskStatus::waiting: return u"waiting"_s;
    case AgentTaskStatus::running: return u"running"_s;
    case AgentTaskStatus::shelved: return u"shelved"_s;
    case AgentTaskStatus::done: return u"done"_s;
    }
    Q_UNREACHABLE();
}

QString storedText(TaskSource source)
{
    switch (source) {
    case TaskSource::claude: return u"Claude"_s;
    case TaskSource::codex: return u"Codex"_s;
    case TaskSource::other: return u"Other"_s;
    }
    Q_UNREACHABLE();
}

std::optional<AgentTaskStatus> agentTaskStatusFrom(const QString &text)
{
    for (AgentTaskStatus status : allAgentTaskStatuses) {
        if (storedText(status) == text)
            return status;
    }
    return std::nullopt;
}

std::optional<TaskSource> taskSourceFrom(const QString &text)
{
    for (TaskSource source : allTaskSources) {
        if (storedText(source) == text)
            return source;
    }
    return std::nullopt;
}

bool AgentTask::isAgentLine() const
{
    return isAgentLineId(id);
}

bool AgentTask::isUrgent() const
{
    return status == AgentTaskStatus::waiting && (needsApproval.value_or(false) || !isAgentLine());
}

bool AgentTask::isFaded(const QDateTime &now) const
{
    const std::optional<QDateTime> end = freshUntil();
    return end && *end < now;
}

std::optional<QDateTime> AgentTask::freshUntil() const
{
    if (status != AgentTaskStatus::waiting || isUrgent())
        return std::nullopt;
    return updatedAt.addSecs(fadedAfterSeconds);
}

bool AgentTask::isStuck(const QDateTime &now) const
{
    return status == AgentTaskStatus::running && isAgentLine() && isOlderThan(updatedAt, stuckAfterSeconds, now);
}

bool isAgentLineId(const QString &id)
{
    return id.startsWith("cc-"_L1) || id.startsWith("cx-"_L1);
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
    QJsonObject object{
        {u"id"_s, task.id},
        {u"title"_s, task.title},
        {u"project"_s, task.project},
        {u"source"_s, storedText(task.source)},
        {u"status"_s, storedText(task.status)},
        {u"purpose"_s, task.purpose},
        {u"currentState"_s, task.currentState},
        {u"tags"_s, QJsonArray::fromStringList(task.tags)},
        {u"recentEvents"_s, QJsonArray::fromStringList(task.recentEvents)},
        {u"updatedAt"_s, storedTime(task.updatedAt)},
    };
    if (task.waitingReason)
        object.insert(u"waitingReason"_s, *task.waitingReason);
    if (task.needsApproval)
        object.insert(u"needsApproval"_s, *task.needsApproval);
    if (task.titleEdited)
        object.insert(u"titleEdited"_s, *task.titleEdited);
    return object;
}

std::optional<AgentTask> agentTaskFrom(const QJsonObject &object)
{
    MemberReader reader(object);
    const auto text = [&reader](QLatin1StringView key) { return reader.required(reader.text(key)); };
    AgentTask task;
    task.id = text("id"_L1);
    task.title = text("title"_L1);
    task.project = text("project"_L1);
    task.source = reader.required(taskSourceFrom(text("source"_L1)));
    task.status = reader.required(agentTaskStatusFrom(text("status"_L1)));
    task.purpose = text("purpose"_L1);
    task.currentState = text("currentState"_L1);
    task.waitingReason = reader.text("waitingReason"_L1);
    task.needsApproval = reader.boolean("needsApproval"_L1);
    task.titleEdited = reader.boolean("titleEdited"_L1);
    task.tags = reader.required(reader.texts("tags"_L1));
    task.recentEvents = reader.required(reader.texts("recentEvents"_L1));
    task.updatedAt = reader.required(storedTimeFrom(text("updatedAt"_L1)));
    if (!reader.isFit())
        return std::nullopt;
    return task;
}

AgentTask storable(AgentTask task, const QDateTime &now)
{
    for (QString *text : {&task.id, &task.title, &task.project, &task.purpose, &task.currentState})
        *text = wellFormed(std::move(*text));
    if (task.waitingReason)
        task.waitingReason = wellFormed(std::move(*task.waitingReason));
    for (QList<QString> *list : {&task.tags, &task.recentEvents}) {
        for (QString &text : *list)
            text = wellFormed(std::move(text));
    }
    if (!isStorableTime(task.updatedAt))
        task.updatedAt = now;
    return task;
}
