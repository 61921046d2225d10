#pragma once

#include "Plumtide/system/Defaults.h"

#include <QDateTime>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

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
    std::shared_ptr<Defaults> defaults; ///< The per-user defaults.
    ProcessProbe processExists;
    QString resourcesDir; ///< The program's resources; empty when it has none.
    QString program = {}; ///< How to start this program again: an absolute path that the next version has, too.
    /// How long to wait for another owner of the data directory to end. An installation is one, for a moment; a
    /// program that was started meanwhile must not take it for its own twin.
    std::chrono::milliseconds ownerPatience{0};

    /// The system's clock and process table, `realHome`, its defaults, and the program's resources. A QCoreApplication
    /// exists before it.
    static Environment real();
    /// `$HOME`, or what the password database says where that is no absolute path; empty when neither knows one. Needs
    /// no application object.
    static const QString &realHome();
};
