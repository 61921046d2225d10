#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QString>

#include <chrono>
#include <optional>

/// Proof that this process is the only Plumtide of its home, and so of the data directory and the defaults. The kernel
/// releases the lock with the process, so no killed owner keeps it, and neither a full disk nor a reused id matters.
class HomeLock
{
public:
    /// How long a start waits for another owner. An installation is one, but only briefly.
    static constexpr std::chrono::milliseconds usualTimeout{1000};

    /// Locks `home`, or where the file system has no locks on directories, "plumtide.lock" in the data directory. None
    /// when another process still holds the home after `timeout`, or the system was too short of resources to tell.
    /// Where nothing can be locked (no home directory), there is nothing to protect: the caller counts as the owner.
    [[nodiscard]] static std::optional<HomeLock> acquire(const QString &home, std::chrono::milliseconds timeout = {});

private:
    explicit HomeLock(Descriptor file) : m_file(std::move(file)) {}

    Descriptor m_file;
};
