#include "Plumtide/model/AgentTask.h"

#include "Plumtide/model/Texts.h"

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

// Reads the fields of one stored object and remembers whether any of them was unfit.
class RecordReader
{
public:
    explicit RecordReader(const QJsonObject &object) : m_object(object) {}

    QString text(const QString &key) { return textOf(m_object.value(key)); }

    std::optional<QString> optionalText(const QString &key)
    {
        const QJsonValue value = m_object.value(key);
        if (value.isUndefined() || value.isNull())
            return std::nullopt;
        return textOf(value);
    }

    std::optional<bool> optionalBool(const QString &key)
    {
        const QJsonValue value = m_object.value(key);
        if (value.isUndefined() || value.isNull())
            return std::nullopt;
        m_isFit = m_isFit && value.isBool();
        return value.toBool();
    }

    QList<QString> texts(const QString &key)
    {
        const QJsonValue value = m_object.value(key);
        m_isFit = m_isFit && value.isArray();
        QList<QString> result;
        const QJsonArray array = value.toArray();
        result.reserve(array.size());
        for (const QJsonValue element : array)
            result.append(textOf(element));
        return result;
    }

    template <typename T>
    T known(std::optional<T> value, T otherwise)
    {
        m_isFit = m_isFit && value.has_value();
        return value.value_or(otherwise);
    }

    [[nodiscard]] bool isFit() const { return m_isFit; }

private:
    QString textOf(const QJsonValue &value)
    {
        m_isFit = m_isFit && value.isString();
        return wellFormed(value.toString());
    }

    const QJsonObject &m_object;
    bool m_isFit = true;
};

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
    return status == AgentTaskStatus::waiting && !isUrgent() && isOlderThan(updatedAt, fadedAfterSeconds, now);
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
    RecordReader reader(object);
    AgentTask task;
    task.id = reader.text(u"id"_s);
    task.title = reader.text(u"title"_s);
    task.project = reader.text(u"project"_s);
    task.source = reader.known(taskSourceFrom(reader.text(u"source"_s)), TaskSource::other);
    task.status = reader.known(agentTaskStatusFrom(reader.text(u"status"_s)), AgentTaskStatus::waiting);
    task.purpose = reader.text(u"purpose"_s);
    task.currentState = reader.text(u"currentState"_s);
    task.waitingReason = reader.optionalText(u"waitingReason"_s);
    task.needsApproval = reader.optionalBool(u"needsApproval"_s);
    task.titleEdited = reader.optionalBool(u"titleEdited"_s);
    task.tags = reader.texts(u"tags"_s);
    task.recentEvents = reader.texts(u"recentEvents"_s);
    task.updatedAt = reader.known(storedTimeFrom(reader.text(u"updatedAt"_s)), QDateTime());
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
