#pragma once

#include "Plumtide/system/Defaults.h"

#include <QDateTime>
#include <QString>

#include <functional>

/// The current time, in UTC.
using Clock = std::function<QDateTime()>;

/// Whether a process of this id exists, also when it belongs to somebody else. `start` is the time that the kernel
/// gives it in `/proc/PID/stat` (field 22), which tells it from a later one of the same id; empty where that is not
/// asked.
using ProcessProbe = std::function<bool(pid_t, const QString &start)>;

/// What the services ask of the world, handed to their constructors so that tests can set it.
struct Environment
{
    QString home; ///< The user's home directory, absolute, without a trailing slash.
    Clock clock;
    Defaults defaults; ///< The per-user defaults.
    ProcessProbe processExists;
    QString resourcesDir; ///< The program's resources; empty when it has none.
    QString program = {}; ///< How to start this program again: an absolute path that the next version has, too.

    /// The system's clock and process table, `realHome`, its defaults, and the program's resources. Needs a
    /// QCoreApplication.
    static Environment real();
    /// `$HOME`, or the home of the password database where that is no absolute path; empty when there is neither.
    /// Needs no application object.
    static QString realHome();
};
