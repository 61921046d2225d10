#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QByteArray>
#include <QString>

#include <chrono>

/// Waits for changes of the file at a path, whichever file that is at the moment.
/// Thread: one thread at a time, except `end`.
class FileWatch
{
public:
    explicit FileWatch(const QString &path);

    /// From now on, changes of the file that the path leads to are reported. Where there is none, or the system has no
    /// watch to give, nothing is reported, and the next call tries again.
    void attach();
    /// Waits until something has happened to the attached file, at most for `patience`. False after `end`.
    bool wait(std::chrono::milliseconds patience);
    void end(); ///< Ends a `wait`, and every later one. Any thread.

private:
    const QByteArray m_path;
    const Descriptor m_end;     // eventfd: readable once the end has come
    const Descriptor m_reports; // inotify
    int m_watch = -1;
};
