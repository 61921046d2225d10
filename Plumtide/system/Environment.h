#pragma once

#include "Plumtide/system/Defaults.h"

#include <QDateTime>
#include <QString>

#include <functional>

/// The current time, in UTC.
using Clock = std::function<QDateTime()>;

/// Whether a process of this id exists, of any user. `start` is its start time by the kernel (Process::start), which
/// distinguishes it from a later process of the same id; any start time will do if it is empty.
using ProcessProbe = std::function<bool(pid_t, const QString &start)>;

/// What the services need from the system, handed to their constructors so that tests can replace it.
struct Environment
{
    QString home; ///< The user's home directory, absolute, without a trailing slash.
    Clock clock;
    Defaults defaults; ///< The per-user defaults.
    ProcessProbe processExists;
    QString resourcesDir; ///< The program's resources; empty when it has none.
    QString program = {}; ///< The absolute path to start this program by, also after an update.

    /// Of the system, for `realHome`. Needs a QCoreApplication.
    static Environment real();
    /// `$HOME`, or the password database's where that is not absolute; empty without either. Needs no application.
    static QString realHome();
};
