#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QString>

#include <chrono>

/// Proof that this process is the only Plumtide of its home, and so of the data directory and the defaults. The kernel
/// holds it and ends it with the process, however that ends, so neither a killed owner nor a reused process id can
/// forge it, and a full disk or a read-only directory cannot prevent it.
class HomeLock
{
public:
    /// `home` itself is locked: the data directory need not exist yet. Where a file system knows no locks on
    /// directories, the file "plumtide.lock" in `dataDir` is locked. Waits up to `patience` for another owner to end.
    HomeLock(const QString &home, const QString &dataDir, std::chrono::milliseconds patience = {});

    /// False when another process holds the home, or the system was too short of resources to tell. True also where
    /// nothing at all can be locked (no home directory): there is nothing to protect then.
    [[nodiscard]] bool isOwner() const { return m_isOwner; }

    void release(); ///< From now on somebody else may be the owner.

private:
    Descriptor m_file;
    bool m_isOwner = false;
};
