#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QString>

#include <optional>

#include <sys/types.h>

/// Whole-file operations with every step checked. Failures carry one Chinese sentence that names the file and the
/// reason. All of them may be called on any thread; none of them takes a lock inside the process.
namespace Files {

/// Reads the whole of the regular file at `path` (symbolic links are followed). Anything but a regular file, or one
/// of more bytes than `maxBytes` or than its own size says, is a failure; a FIFO or a device does not block.
Outcome<QByteArray> read(const QString &path, qint64 maxBytes);

/// When the new content must have reached the disk.
enum class Flush {
    BeforeRename, ///< A power cut leaves the old content or the new one, never anything else.
    Later,        ///< The caller flushes by itself; a killed process still leaves a whole file.
};

/// How `replace` treats what stands at the path.
struct ReplaceOptions
{
    /// For a file that is ours alone: it gets this mode, also in the place of a link or of a write-protected file.
    /// Else an existing file keeps its mode, a new one gets 0600, and of a link the target is replaced.
    std::optional<mode_t> ownMode = {};
    Flush flush = Flush::BeforeRename;
};

/// Replaces the file at `path` as a whole: a temporary file beside the target (".NAME.", six random characters and
/// ".tavvel-new"), then a rename, so a reader sees the old content or the new one and a killed process leaves one of
/// the two. The owner stays where the process may set it. A target without write permission is left alone, although a
/// rename could replace it. Two processes that replace the same file at once do not mix their bytes.
Outcome<void> replace(const QString &path, const QByteArray &content, const ReplaceOptions &options = {});

/// Removes all temporary files of killed processes in the folder of `path` and in the one that its links lead to. A
/// folder that another process has locked, as `replace` does, is left alone.
void removeTemporaries(const QString &path);

/// Makes the directory with any missing parents, mode 0700 where it makes one. One that exists is fine.
Outcome<void> makeDirectory(const QString &path);

/// Moves `path` to the first of "base.suffix", "base-2.suffix", "base-3.suffix" ... that does not exist, so that
/// nothing is ever replaced. `base` is a path. Yields the new path.
Outcome<QString> moveAside(const QString &path, const QString &base, const QString &suffix);

/// A whole failure sentence: what was attempted (a verb phrase, "无法写入"), the file, and the reason.
Failure failure(const QString &attempt, const QString &path, int code);

} // namespace Files
