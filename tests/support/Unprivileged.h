#pragma once

#include <QtGlobal>

#include <unistd.h>

/// While it lives, file permissions count for the thread as for an ordinary user: root is turned away from nothing,
/// and continuous integration runs as root. Where an ordinary user runs it, nothing changes.
class Unprivileged
{
public:
    Unprivileged() : m_status(::seteuid(65534)) {}
    ~Unprivileged() { m_status = ::seteuid(::getuid()); }
    Q_DISABLE_COPY_MOVE(Unprivileged)

private:
    int m_status;
};
