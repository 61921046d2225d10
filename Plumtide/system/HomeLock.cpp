#include "Plumtide/system/HomeLock.h"

#include "Plumtide/system/Files.h"
#include "Plumtide/system/Log.h"

#include <QDeadlineTimer>
#include <QThread>

#include <cerrno>

#include <sys/file.h>

using namespace Qt::StringLiterals;

namespace {

// 0, or why `file` was not opened and locked. The lock belongs to the open descriptor, which no child inherits.
int lock(const QString &path, int flags, Descriptor &file)
{
    file = Descriptor(path, flags);
    return file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
}

// Held by another process, or short of descriptors or memory, which does not tell whether there is another owner.
bool mayHaveOwner(int error)
{
    return error == EWOULDBLOCK || error == EMFILE || error == ENFILE || error == ENOMEM || error == EINTR;
}

} // namespace

std::optional<HomeLock> HomeLock::acquire(const QString &home, std::chrono::milliseconds timeout)
{
    const QString dataDir = home + u"/.tavvel"_s;
    for (const QDeadlineTimer deadline(timeout);; QThread::msleep(10)) {
        Descriptor file;
        int error = lock(home, O_RDONLY | O_DIRECTORY, file);
        if (error != 0 && !mayHaveOwner(error) && QFile::exists(home) && Files::makeDirectory(dataDir))
            error = lock(dataDir + u"/plumtide.lock"_s, O_RDWR | O_CREAT, file);
        qCDebug(systemLog) << "lock" << home << "errno" << error;
        if (!mayHaveOwner(error))
            return HomeLock(std::move(file));
        if (deadline.hasExpired())
            return std::nullopt;
    }
}
