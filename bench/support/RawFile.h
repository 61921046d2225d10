#pragma once

#include <QByteArray>

/// The least that replacing a whole file takes: one write beside it and a rename, nothing checked, nothing flushed.
namespace RawFile {

/// The first `size` bytes of `content` (which has at least as many) become the file `path`.
void replace(const QByteArray &path, const QByteArray &content, qsizetype size);

} // namespace RawFile
