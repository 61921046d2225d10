#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

/// Reads the members of one JSON object, and remembers whether any of them had another type than it was asked for.
/// A member that is missing or null is absent. Texts come well formed (see WellFormed.h).
class MemberReader
{
public:
    /// `object` must outlive it.
    explicit MemberReader(const QJsonObject &object) : m_object(object) {}

    [[nodiscard]] std::optional<QString> text(QLatin1StringView key);
    [[nodiscard]] std::optional<bool> boolean(QLatin1StringView key);
    [[nodiscard]] std::optional<double> number(QLatin1StringView key);
    [[nodiscard]] std::optional<QJsonObject> object(QLatin1StringView key);
    [[nodiscard]] std::optional<QList<QString>> texts(QLatin1StringView key); ///< An array of nothing but texts.

    /// Says that `value` may not be absent.
    template <typename T>
    [[nodiscard]] T required(std::optional<T> value)
    {
        m_isFit = m_isFit && value.has_value();
        return value.value_or(T());
    }

    [[nodiscard]] bool isFit() const
    {
        return m_isFit;
    } ///< Until something was of another type, or absent and required.

private:
    // The member if it is of this type, else undefined.
    [[nodiscard]] QJsonValue member(QLatin1StringView key, QJsonValue::Type type);

    const QJsonObject &m_object;
    bool m_isFit = true;
};
