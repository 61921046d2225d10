#pragma once

#include <utility>

#include <unistd.h>

/// An open file descriptor that is closed with its owner. Thread: any, one at a time.
class Descriptor
{
public:
    Descriptor() = default;
    /// Takes the answer of `open` and its like: negative for none.
    explicit Descriptor(int value) : m_value(value) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor &&other) noexcept : m_value(std::exchange(other.m_value, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        reset();
        m_value = std::exchange(other.m_value, -1);
        return *this;
    }

    [[nodiscard]] bool isOpen() const { return m_value >= 0; }
    [[nodiscard]] int get() const { return m_value; }

    void reset()
    {
        if (m_value >= 0)
            ::close(m_value);
        m_value = -1;
    }

private:
    int m_value = -1;
};
