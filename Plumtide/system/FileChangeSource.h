#pragma once

#include <QByteArray>

#include <functional>
#include <memory>

class SerialQueue;

/// Reports changes of one file, wherever its name goes afterwards: it holds on to the file, not to the path.
/// Thread: everything on the queue that it was given, the callbacks too. Destroying it ends the reports.
class FileChangeSource
{
public:
    /// After a change, or when reports were lost and anything may have happened. `isGone`: the path no longer leads
    /// to the file; it was deleted, renamed or replaced.
    using OnChange = std::function<void(bool isGone)>;

    /// Nothing when there is no file at `path` or the system has no watch to give.
    static std::unique_ptr<FileChangeSource> open(SerialQueue &queue, QByteArray path, OnChange onChange);
    ~FileChangeSource();

    /// Whether the path still leads to the watched file. Costs one `stat`; for the poll, since some ways to replace
    /// a file are reported by nobody.
    [[nodiscard]] bool isCurrent() const;

private:
    FileChangeSource() = default;
    class Watch;
    std::unique_ptr<Watch> m_watch;
};
