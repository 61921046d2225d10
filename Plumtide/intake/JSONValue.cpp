#include "Plumtide/intake/JSONValue.h"

#include "Plumtide/model/WellFormed.h"

#include <QJsonArray>
#include <QJsonObject>

// Recursion is bounded: QJsonDocument refuses to read more than 1,024 levels.
JSONValue JSONValue::from(const QJsonValue &json)
{
    switch (json.type()) {
    case QJsonValue::String: return {wellFormed(json.toString())};
    case QJsonValue::Bool: return {json.toBool()};
    case QJsonValue::Double: return {json.toDouble()};
    case QJsonValue::Object: return {membersOf(json.toObject())};
    case QJsonValue::Array: {
        Array elements;
        const QJsonArray array = json.toArray();
        elements.reserve(array.size());
        for (const QJsonValue element : array)
            elements.append(from(element));
        return {std::move(elements)};
    }
    case QJsonValue::Null:
    case QJsonValue::Undefined: break;
    }
    return {Null{}};
}

JSONValue::Object JSONValue::membersOf(const QJsonObject &json)
{
    Object members;
    for (auto it = json.begin(); it != json.end(); ++it)
        members.insert(wellFormed(it.key()), from(it.value()));
    return members;
}
