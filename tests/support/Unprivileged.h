#pragma once

#include <unistd.h>

/// While it lives, file permissions count for the thread as for an ordinary user: root is turned away from nothing,
/// and continuous integration runs as root.
class Unprivileged
{
public:
    Unprivileged()
    {
        if (m_isRoot && ::seteuid(nobody) != 0)
            m_isRoot = false;
    }
    ~Unprivileged()
    {
        if (m_isRoot) [[maybe_unused]]
            const int ignored = ::seteuid(0);
    }
    Unprivileged(const Unprivileged &) = delete;
    Unprivileged &operator=(const Unprivileged &) = delete;

private:
    static constexpr uid_t nobody = 65534;
    bool m_isRoot = ::geteuid() == 0;
};
