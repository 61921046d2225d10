#include "Plumtide/system/HomeLock.h"

#include "Plumtide/system/Files.h"
#include "Plumtide/system/Log.h"

#include <QFile>

#include <cerrno>
#include <thread>

#include <sys/file.h>

using namespace Qt::StringLiterals;

namespace {

enum class Attempt { Taken, HeldByOther, Impossible };

// The lock belongs to the open descriptor, which no child inherits.
Attempt lock(const QString &path, int flags, Descriptor &file)
{
    file = Descriptor(path, flags);
    if (file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        return Attempt::Taken;
    // Short of descriptors or memory: that says nothing about another owner.
    const bool isForNow = errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == EINTR;
    const Attempt result = errno == EWOULDBLOCK || isForNow ? Attempt::HeldByOther : Attempt::Impossible;
    file = Descriptor();
    return result;
}

} // namespace

HomeLock::HomeLock(const QString &home, const QString &dataDir, std::chrono::milliseconds patience)
{
    constexpr std::chrono::milliseconds pause{10};
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        Attempt attempt = lock(home, O_RDONLY | O_DIRECTORY, m_file);
        if (attempt == Attempt::Impossible && QFile::exists(home) && Files::makeDirectory(dataDir))
            attempt = lock(dataDir + u"/plumtide.lock"_s, O_RDWR | O_CREAT, m_file);
        m_isOwner = attempt != Attempt::HeldByOther;
        qCDebug(systemLog) << home << (!m_isOwner ? "has another owner" : m_file.isOpen() ? "is ours" : "has no locks");
        if (m_isOwner || std::chrono::steady_clock::now() >= deadline)
            return;
        std::this_thread::sleep_for(pause);
    }
}

void HomeLock::release()
{
    m_isOwner = false;
    m_file = Descriptor();
}
