#include "Plumtide/system/HomeLock.h"

#include "Plumtide/system/Files.h"
#include "Plumtide/system/Log.h"

#include <QDeadlineTimer>
#include <QThread>

#include <cerrno>

#include <sys/file.h>

using namespace Qt::StringLiterals;

namespace {

// 0, or why `file` is not open and locked now. The lock belongs to the open descriptor, which no child inherits.
int lock(const Descriptor &file)
{
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
        std::optional<Descriptor> file(std::in_place, home, O_RDONLY | O_DIRECTORY);
        int error = lock(*file);
        if (error != 0 && !mayHaveOwner(error) && QFile::exists(home) && Files::makeDirectory(dataDir))
            error = lock(file.emplace(dataDir + u"/plumtide.lock"_s, O_RDWR | O_CREAT));
        qCDebug(systemLog) << "lock" << home << "errno" << error;
        if (!mayHaveOwner(error))
            return HomeLock(*std::move(file));
        if (deadline.hasExpired())
            return std::nullopt;
    }
}
