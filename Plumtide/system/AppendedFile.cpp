#include "Plumtide/system/AppendedFile.h"

#include <cerrno>

#include <signal.h>
#include <sys/stat.h>

namespace {

qint64 sizeOf(const Descriptor &file)
{
    struct stat status = {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : 0;
}

} // namespace

AppendedFile::AppendedFile(const QString &path) : m_file(path, O_RDONLY), m_size(sizeOf(m_file)) {}

QByteArray AppendedFile::read(qint64 offset, qint64 length) const
{
    QByteArray bytes(qBound<qint64>(0, m_size - offset, length), Qt::Uninitialized);
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            ::pread(m_file.get(), bytes.data() + done, static_cast<size_t>(bytes.size() - done), offset + done);
        if (count == 0 || (count < 0 && errno != EINTR))
            break;
        done += qMax<qsizetype>(count, 0);
    }
    bytes.truncate(done);
    return bytes;
}

bool AppendedFile::empty(const QString &path, qint64 size)
{
    const Descriptor file(path, O_RDWR);
    if (sizeOf(file) != size)
        return false;
    // The kernel gives a write lease only while nobody else has the file open, and lets an opener wait until the lease
    // is given back. It asks for that by a signal: by SIGIO, which would end us, unless another one is named. SIGURG is
    // ignored.
    ::fcntl(file.get(), F_SETSIG, SIGURG);
    if (::fcntl(file.get(), F_SETLEASE, F_WRLCK) != 0 && errno == EAGAIN)
        return false;
    return sizeOf(file) == size && ::ftruncate(file.get(), 0) == 0;
}
