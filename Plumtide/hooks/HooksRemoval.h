#pragma once

#include <QStringList>

/// Takes out again what HooksInstaller has put into a home. A tool's file that has not changed since becomes, byte for
/// byte, what it was before; from another one just our entries are taken. It is copied first and replaced as a whole,
/// and left alone where its shape is not the expected one. Our scripts go at the end, once nothing names them any more.
/// Killed at any moment, it can be called again and comes to the same end. Thread: any. All file work is done before
/// the call returns.
namespace HooksRemoval {

/// One sentence each for the user about Claude Code and Codex. An earlier `notify` command, which Plumtide's script
/// runs, comes back.
QStringList remove(const QString &home);

} // namespace HooksRemoval
