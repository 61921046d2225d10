#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QFile>
#include <QStringList>

#include <cerrno>
#include <functional>
#include <mutex>

#include <fcntl.h>
#include <sys/syscall.h>

// What reaches the disk: "flush NAME" and "rename NAME", the latter with "busy" where the file is still open for
// writing. Before those of another thread than the main one stands a plus sign. For one file of a test program.
inline QStringList diskCalls;
inline std::mutex diskMutex;
inline std::function<bool(const QString &name)> onRename; ///< Before a file gets its name; true where the disk is full.

inline void noteDiskCall(const QString &call)
{
    const std::lock_guard lock(diskMutex);
    diskCalls += (::gettid() == ::getpid() ? "" : "+") + call;
}

inline QString takeDiskCalls()
{
    const std::lock_guard lock(diskMutex);
    return std::exchange(diskCalls, {}).join(", ");
}

// These take the place of the C library's, also for Qt.
extern "C" int fsync(int file)
{
    noteDiskCall("flush " + QFile::symLinkTarget("/proc/self/fd/" + QString::number(file)).section('/', -1));
    return static_cast<int>(::syscall(SYS_fsync, file));
}
extern "C" int fdatasync(int file)
{
    return fsync(file);
}
extern "C" int rename(const char *from, const char *to) noexcept
{
    // There is no read lease for a file that is open for writing, and no start of a program, either.
    const Descriptor file(::open(from, O_RDONLY | O_CLOEXEC));
    const bool isBusy = ::fcntl(file.get(), F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN;
    const QString name = QString(to).section('/', -1);
    noteDiskCall((isBusy ? "rename busy " : "rename ") + name);
    const bool isFull = onRename && onRename(name);
    errno = ENOSPC;
    return isFull ? -1 : ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}
