#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <sys/types.h>

/// A snapshot of a process, from `/proc`. Thread: any.
struct Process
{
    pid_t pid = 0;      ///< 0 if there is no such process.
    pid_t parent = 0;   ///< 0 if it has none.
    int terminal = 0;   ///< The device number of its controlling terminal; 0 if it has none.
    QByteArray name;    ///< The first 15 bytes of its program's name.
    QByteArray start;   ///< Its start time in the kernel's clock ticks (field 22 of `/proc/PID/stat`).
    QByteArray program; ///< The path of its executable; empty without the permission to read it.

    static Process of(pid_t pid);
    static QList<Process> all();
    static std::optional<QList<pid_t>> flockHolders(const QString &path); ///< By its inode number. Nothing if unknown.

    // The first two are empty for processes of other users.
    [[nodiscard]] QString variable(QByteArrayView name) const; ///< Of the environment with which it was started.
    [[nodiscard]] QList<QByteArray> openFiles() const;         ///< Their paths.

    [[nodiscard]] QList<Process> children() const;
    [[nodiscard]] double age() const;                  ///< Milliseconds since its start.
    [[nodiscard]] QList<QByteArray> arguments() const; ///< With which it was started, its name first.
};
