#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QByteArray>
#include <QString>

/// A file that other programs append to, open for reading as it was at that moment. Thread: any, one at a time.
class AppendedFile
{
public:
    /// What cannot be opened, and what is no regular file, is as an empty one.
    explicit AppendedFile(const QString &path);

    [[nodiscard]] qint64 size() const { return m_size; } ///< Bytes, when it was opened.

    /// At most `length` bytes at `offset`, fewer only at the end that it had when it was opened, or where it cannot be
    /// read.
    [[nodiscard]] QByteArray read(qint64 offset, qint64 length) const;

    /// Cuts the file at `path` to nothing if it is `size` bytes long and nobody else has it open. While it looks and
    /// cuts, whoever opens the file waits, so no byte that is appended is lost; only on a file system without leases
    /// can that happen. False when the file was left alone.
    static bool empty(const QString &path, qint64 size);

private:
    const Descriptor m_file;
    const qint64 m_size;
};
