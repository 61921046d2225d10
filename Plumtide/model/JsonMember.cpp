#include "Plumtide/model/JsonMember.h"

#include "Plumtide/model/WellFormed.h"

#include <QJsonArray>

#include <algorithm>

QJsonDocument readJson(QByteArray json)
{
    return QJsonDocument::fromJson(json.replace("\"\xEF\xBB\xBF", "\"\\uFEFF"));
}

bool readMember(const QJsonValue &value, QString &member)
{
    member = wellFormed(value.toString());
    return value.isString();
}

bool readMember(const QJsonValue &value, bool &member)
{
    member = value.toBool();
    return value.isBool();
}

bool readMember(const QJsonValue &value, double &member)
{
    member = value.toDouble();
    return value.isDouble();
}

bool readMember(const QJsonValue &value, QJsonObject &member)
{
    member = value.toObject();
    return value.isObject();
}

bool readMember(const QJsonValue &value, QList<QString> &member)
{
    const QJsonArray elements = value.toArray();
    return value.isArray() && std::ranges::all_of(elements, [&member](const QJsonValue &element) {
               return readMember(element, member.emplaceBack());
           });
}
