#include "Plumtide/model/JsonMember.h"

#include <QJsonArray>

#include <algorithm>

QString wellFormed(const QString &text)
{
    if (text.isValidUtf16() && !text.contains(QChar::Null))
        return text;
    // The conversion to code points replaces lone surrogates.
    return QString::fromStdU32String(text.toStdU32String()).replace(QChar::Null, QChar::ReplacementCharacter);
}

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
