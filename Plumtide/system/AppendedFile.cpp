#include "Plumtide/system/AppendedFile.h"

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
    bytes.truncate(qMax<ssize_t>(0, ::pread(m_file.get(), bytes.data(), static_cast<size_t>(bytes.size()), offset)));
    return bytes;
}

bool AppendedFile::truncateIfUnused(const QString &path, qint64 size)
{
    const Descriptor file(path, O_RDWR);
    if (sizeOf(file) != size)
        return false;
    // The kernel grants a write lease only while nobody else has the file open. Another process that opens it then
    // waits until the lease is released. The kernel asks for that by SIGIO, which would end this process, unless
    // another signal is set; SIGURG is ignored by default.
    ::fcntl(file.get(), F_SETSIG, SIGURG);
    if (::fcntl(file.get(), F_SETLEASE, F_WRLCK) != 0 && errno == EAGAIN)
        return false;
    return sizeOf(file) == size && ::ftruncate(file.get(), 0) == 0;
}
