#pragma once

#include <QStringList>

/// Removes from a home what HooksInstaller has put into it. Thread: any; file work is done before the call returns.
namespace HooksRemoval {

/// Restores a tool's file byte for byte where it has not changed since the installation, else removes only our entries,
/// and restores an earlier `notify` command. A file of an unexpected shape is not changed. Our scripts are deleted at
/// the end, unless a file still names them. A removal that was killed can be repeated. Returns a sentence for the user
/// about each tool.
QStringList remove(const QString &home);

} // namespace HooksRemoval
