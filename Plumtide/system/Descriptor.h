#pragma once

#include <QFile>

#include <utility>

#include <fcntl.h>
#include <unistd.h>

/// An open file descriptor that is closed with its owner. Thread: any, one at a time.
class Descriptor
{
public:
    /// Takes what `eventfd` and similar calls return: a negative number is none.
    explicit Descriptor(int value) : m_value(value) {}
    /// As `open`, but never blocks on a FIFO. A file that is created gets the mode 0600.
    Descriptor(const QString &path, int flags)
        : m_value(::open(QFile::encodeName(path).constData(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600))
    {
    }
    ~Descriptor()
    {
        if (m_value >= 0)
            ::close(m_value);
    }
    Descriptor(Descriptor &&other) noexcept : m_value(std::exchange(other.m_value, -1)) {}

    [[nodiscard]] bool isOpen() const { return m_value >= 0; }
    [[nodiscard]] int get() const { return m_value; }

private:
    int m_value;
};
