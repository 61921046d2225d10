#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QString>

#include <optional>

#include <sys/types.h>

/// Operations on whole files, each step checked. A failure's sentence names the file and the reason. Thread: any.
namespace Files {

/// The content of the regular file at `path` (symbolic links are followed). Fails for anything else, without blocking
/// on a FIFO or a device, and for a file of more bytes than `maxBytes` or than its size says.
Outcome<QByteArray> read(const QString &path, qint64 maxBytes);

/// How `replace` treats an existing file.
struct ReplaceOptions
{
    /// For files of this program alone: the file gets this mode, and a link or a write-protected file is replaced, too.
    /// Otherwise an existing file keeps its mode, a new one gets 0600, and the target of a link is replaced.
    std::optional<mode_t> ownMode = {};
    /// Flushed before the rename, so that a power cut, too, leaves the old content or the new one; else by the caller.
    bool isFlushed = true;
};

/// Replaces the file at `path` as a whole: a temporary file beside the target (".NAME.", six random characters and
/// ".tavvel-new") is renamed over it, so that a reader sees, and a killed process leaves, the old content or the new
/// one. The owner is kept where the process may set it. A target without write permission is left alone, although a
/// rename could replace it. Two processes may replace the same file at once: the last rename counts.
Outcome<void> replace(const QString &path, const QByteArray &content, const ReplaceOptions &options = {});

/// Removes all temporary files of killed processes in the folder of `path` and in that of its link target. A folder
/// that another process has locked, as `replace` does, is left alone.
void removeTemporaries(const QString &path);

/// Creates the directory and its missing parents, with mode 0700, unless it exists.
Outcome<void> makeDirectory(const QString &path);

/// Moves `path` to the first of base + suffix, base + "-2" + suffix ... that does not exist, and returns that.
Outcome<QString> moveAside(const QString &path, const QString &base, const QString &suffix);

/// A failure with its whole sentence: what was attempted (a verb phrase, "无法写入"), the file, and the reason.
Failure failure(const QString &attempt, const QString &path, int code);

} // namespace Files
