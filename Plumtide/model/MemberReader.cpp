#include "Plumtide/model/MemberReader.h"

#include "Plumtide/model/WellFormed.h"

#include <QJsonArray>

std::optional<QString> MemberReader::text(QLatin1StringView key)
{
    const QJsonValue value = member(key, QJsonValue::String);
    return value.isString() ? std::optional(wellFormed(value.toString())) : std::nullopt;
}

std::optional<bool> MemberReader::boolean(QLatin1StringView key)
{
    const QJsonValue value = member(key, QJsonValue::Bool);
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

std::optional<double> MemberReader::number(QLatin1StringView key)
{
    const QJsonValue value = member(key, QJsonValue::Double);
    return value.isDouble() ? std::optional(value.toDouble()) : std::nullopt;
}

std::optional<QJsonObject> MemberReader::object(QLatin1StringView key)
{
    const QJsonValue value = member(key, QJsonValue::Object);
    return value.isObject() ? std::optional(value.toObject()) : std::nullopt;
}

std::optional<QList<QString>> MemberReader::texts(QLatin1StringView key)
{
    const QJsonValue value = member(key, QJsonValue::Array);
    if (!value.isArray())
        return std::nullopt;
    QList<QString> texts;
    const QJsonArray array = value.toArray();
    for (const QJsonValue element : array) {
        m_isFit = m_isFit && element.isString();
        texts.append(wellFormed(element.toString()));
    }
    return texts;
}

QJsonValue MemberReader::member(QLatin1StringView key, QJsonValue::Type type)
{
    const QJsonValue value = m_object.value(key);
    if (value.type() == type)
        return value;
    m_isFit = m_isFit && (value.isUndefined() || value.isNull());
    return QJsonValue::Undefined;
}
