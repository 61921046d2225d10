#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

/// Why an operation failed: a sentence for the user, in Chinese, and the `errno` behind it (0 when there is none).
struct Failure
{
    QString sentence;
    int code = 0;
};

/// The value of an operation, or the reason why there is none.
template <typename T>
class [[nodiscard]] Outcome
{
public:
    Outcome(T value) : m_value(std::move(value)) {}
    Outcome(Failure failure) : m_failure(std::move(failure)) {}

    explicit operator bool() const { return m_value.has_value(); }
    const T &value() const { return *m_value; }
    const Failure &failure() const { return m_failure; }

private:
    std::optional<T> m_value;
    Failure m_failure;
};

/// The same for operations that yield nothing.
template <>
class [[nodiscard]] Outcome<void> : public Outcome<std::monostate>
{
public:
    using Outcome<std::monostate>::Outcome;
    Outcome() : Outcome<std::monostate>(std::monostate()) {}
};
