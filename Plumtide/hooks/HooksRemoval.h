#pragma once

#include <QString>

/// Takes out again what HooksInstaller has put into a home. A tool's file that has not changed since becomes, byte for
/// byte, what it was before; from another one just our entries are taken. It is copied first and replaced as a whole,
/// and left alone where its shape is not the expected one. Our scripts go once nothing names them any more. Thread:
/// any. All file work is done before a call returns. Each returns one sentence for the user.
namespace HooksRemoval {

QString removeClaude(const QString &home);
QString removeCodex(const QString &home); ///< An earlier `notify` command, which Plumtide's script runs, comes back.

} // namespace HooksRemoval
