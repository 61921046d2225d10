#pragma once

#include "Plumtide/desktop/Notifier.h"
#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/system/HomeLock.h"

/// The services of the program, in the order in which they need each other. `main` makes the one value on its stack,
/// with the home's lock, and they end in the reverse order. Where the process ends without that, as by Qt when the
/// display goes, no event is lost, either.
/// Thread: the main thread. A QCoreApplication exists before it.
struct Services
{
    HomeLock lock;
    Environment environment = Environment::real();
    Notifier notifier{};
    TaskStore store{environment};
    HooksInstaller installer{environment};
};
