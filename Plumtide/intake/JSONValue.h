#pragma once

#include <QList>
#include <QMap>
#include <QString>

#include <variant>

class QJsonObject;
class QJsonValue;

/// Any JSON value, as it arrives in the free-form part of an event. Which case holds is the JSON type: a JSON true
/// is never a number and a number never a bool. Numbers are 64-bit floating point, so whole numbers beyond 2^53
/// lose digits here; nothing that is shown depends on them. Of a member given twice the last one counts.
struct JSONValue
{
    using Object = QMap<QString, JSONValue>;
    using Array = QList<JSONValue>;
    struct Null
    {
        bool operator==(const Null &) const = default;
    };

    std::variant<QString, double, bool, Object, Array, Null> value = Null{};

    /// The text when this is a string, else nothing.
    [[nodiscard]] const QString *string() const { return std::get_if<QString>(&value); }

    bool operator==(const JSONValue &) const = default;

    [[nodiscard]] static JSONValue from(const QJsonValue &json);
    [[nodiscard]] static Object membersOf(const QJsonObject &json);
};
