#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QByteArray>
#include <QString>

/// A snapshot of a file that other programs append to, its size fixed at opening. Thread: any, one at a time.
class AppendedFile
{
public:
    /// Empty if the file cannot be opened or is not a regular one.
    explicit AppendedFile(const QString &path);

    [[nodiscard]] qint64 size() const { return m_size; } ///< In bytes.

    /// At most `length` bytes at `offset`; fewer only at the end, or where the file cannot be read.
    [[nodiscard]] QByteArray read(qint64 offset, qint64 length) const;

    /// Empties the file if it has `size` bytes and no other process has it open. One that opens it meanwhile waits, so
    /// that no appended byte is lost, except on a file system without leases. False when it was left alone.
    static bool truncateIfUnused(const QString &path, qint64 size);

private:
    const Descriptor m_file;
    const qint64 m_size;
};
