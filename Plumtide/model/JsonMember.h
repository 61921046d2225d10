#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

#include <optional>

/// `text` with U+FFFD for lone surrogates, which agents send as JSON escapes, and for NULs: no UTF-8 file has them.
[[nodiscard]] QString wellFormed(const QString &text);

/// As QJsonDocument::fromJson, which drops a U+FEFF at the start of a text.
[[nodiscard]] QJsonDocument readJson(QByteArray json);

// Each of these reads one member of an object, and is false where that is missing or of another type.

[[nodiscard]] bool readMember(const QJsonValue &value, QString &member); ///< See wellFormed.
[[nodiscard]] bool readMember(const QJsonValue &value, bool &member);
[[nodiscard]] bool readMember(const QJsonValue &value, double &member);
[[nodiscard]] bool readMember(const QJsonValue &value, QJsonObject &member);
[[nodiscard]] bool readMember(const QJsonValue &value, QList<QString> &member); ///< Of nothing but texts.

/// A member that may be missing or null.
template <typename T>
[[nodiscard]] bool readMember(const QJsonValue &value, std::optional<T> &member)
{
    if (value.isUndefined() || value.isNull())
        return true;
    return readMember(value, member.emplace());
}
