#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <sys/types.h>

/// A process as the kernel showed it at one moment, in `/proc`. Thread: any.
struct Process
{
    pid_t pid = 0;      ///< 0 where there is no such process.
    pid_t parent = 0;   ///< 0 where it has none.
    int terminal = 0;   ///< The device number of its controlling terminal; 0 where it has none.
    QByteArray name;    ///< The first 15 bytes of its program's name.
    QByteArray start;   ///< When it was started, as the kernel counts (field 22 of `/proc/PID/stat`).
    QByteArray program; ///< The path of the file that it runs; empty where that is not ours to know.

    static Process of(pid_t pid);
    static QList<Process> all();

    // Both are empty where the process belongs to somebody else.
    [[nodiscard]] QString variable(QByteArrayView name) const; ///< Of the environment with which it was started.
    [[nodiscard]] QList<QByteArray> openFiles() const;         ///< Their paths.

    [[nodiscard]] QList<QByteArray> arguments() const; ///< With which it was started, its name first.
};
