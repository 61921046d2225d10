#include "Plumtide/system/Files.h"

#include "Plumtide/system/Descriptor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr mode_t permissionBits = 07777;

QByteArray directoryOf(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    if (slash < 0)
        return QByteArray(".");
    return slash == 0 ? QByteArray("/") : path.first(slash);
}

QByteArray nameOf(const QByteArray &path)
{
    return path.sliced(path.lastIndexOf('/') + 1);
}

// Where a chain of symbolic links ends, also when nothing is there; empty with errno set when it has no end.
QByteArray linkTarget(QByteArray path)
{
    constexpr int longestChain = 40; // as the kernel's own limit
    for (int hop = 0; hop < longestChain; ++hop) {
        char buffer[4096];
        const ssize_t length = ::readlink(path.constData(), buffer, sizeof buffer);
        if (length < 0)
            return path;
        const QByteArray target(buffer, length);
        path = target.startsWith('/') ? target : directoryOf(path) + '/' + target;
    }
    errno = ELOOP;
    return {};
}

bool writeAll(int descriptor, const QByteArray &content)
{
    qsizetype written = 0;
    while (written < content.size()) {
        const ssize_t count =
            ::write(descriptor, content.constData() + written, static_cast<size_t>(content.size() - written));
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        written += count;
    }
    return true;
}

// Some network file systems report a full disk only when a descriptor is closed; this asks without giving up ours.
bool settleWrites(int descriptor)
{
    const int copy = ::dup(descriptor);
    return copy < 0 || ::close(copy) == 0;
}

// Opens the temporary file and makes it this process's own. The name is always the same, so a killed process leaves
// one stray file at most, and the lock keeps two writers apart. `access` is O_WRONLY, which also empties the file, or
// O_RDONLY. `opened` is the file as it was opened.
int openTemporary(const QByteArray &path, int access, struct stat &opened)
{
    constexpr int attempts = 40;
    constexpr std::chrono::milliseconds pause{5}; // the other writer needs a fraction of that
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const int descriptor = ::open(path.constData(), access | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (descriptor < 0)
            return -1;
        if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            ::close(descriptor);
            std::this_thread::sleep_for(pause);
            continue;
        }
        // The name may have been renamed away between the open and the lock.
        struct stat named = {};
        if (::fstat(descriptor, &opened) == 0 && ::stat(path.constData(), &named) == 0 && opened.st_ino == named.st_ino
            && opened.st_dev == named.st_dev) {
            if (access == O_RDONLY || opened.st_size == 0 || ::ftruncate(descriptor, 0) == 0)
                return descriptor;
            const int error = errno;
            ::close(descriptor);
            errno = error;
            return -1;
        }
        ::close(descriptor);
    }
    errno = EBUSY;
    return -1;
}

bool syncDirectory(const QByteArray &path)
{
    const Descriptor directory(::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory.isOpen() && ::fsync(directory.get()) == 0;
}

// All but the messages of Files::replace: 0, or the errno of the step that failed.
int replaceBytes(const QByteArray &path, const QByteArray &content, const Files::ReplaceOptions &options)
{
    QByteArray target = path;
    mode_t mode = options.newFileMode;
    struct stat existing = {};
    bool exists = ::lstat(target.constData(), &existing) == 0;
    if (exists && S_ISLNK(existing.st_mode) && options.links == Files::Links::Follow) {
        target = linkTarget(path);
        if (target.isEmpty())
            return errno;
        exists = ::lstat(target.constData(), &existing) == 0;
    }
    if (exists) {
        if (S_ISDIR(existing.st_mode))
            return EISDIR;
        if (S_ISREG(existing.st_mode)) {
            if (::faccessat(AT_FDCWD, target.constData(), W_OK, AT_EACCESS) != 0)
                return errno;
            if (!options.forceMode)
                mode = existing.st_mode & permissionBits;
        } else if (options.links == Files::Links::Follow) {
            return EINVAL; // a device or a FIFO where a file is meant to be
        }
    } else if (errno != ENOENT) {
        return errno;
    }

    const QByteArray temporary = directoryOf(target) + "/." + nameOf(target) + ".plumtide-new";
    struct stat opened = {};
    // Nobody can start a program that is open for writing, and somebody may start this one right after the rename: the
    // agents' hooks are replaced while they run. So a program is locked through a descriptor that only reads.
    const bool isProgram = (mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
    const Descriptor lock(openTemporary(temporary, isProgram ? O_RDONLY : O_WRONLY, opened));
    if (!lock.isOpen())
        return errno;
    Descriptor writer;
    if (isProgram) {
        writer = Descriptor(::open(temporary.constData(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOFOLLOW));
        if (!writer.isOpen())
            return errno;
    }
    const int file = isProgram ? writer.get() : lock.get();
    const auto fail = [&temporary](int error) {
        ::unlink(temporary.constData());
        return error;
    };

    if (!writeAll(file, content))
        return fail(errno);
    if (exists && S_ISREG(existing.st_mode)) {
        // A file that belongs to another group stays that group's where the system lets us; the owner only if we
        // may give files away.
        constexpr auto unchanged = static_cast<uid_t>(-1);
        [[maybe_unused]] int ignored = 0;
        if (opened.st_gid != existing.st_gid)
            ignored = ::fchown(file, unchanged, existing.st_gid);
        if (opened.st_uid != existing.st_uid)
            ignored = ::fchown(file, existing.st_uid, unchanged);
    }
    if ((opened.st_mode & permissionBits) != mode && ::fchmod(file, mode) != 0)
        return fail(errno);
    if (options.flush == Files::Flush::BeforeRename && ::fsync(file) != 0)
        return fail(errno);
    if (!settleWrites(file))
        return fail(errno);
    writer.reset();
    if (::rename(temporary.constData(), target.constData()) != 0)
        return fail(errno);
    if (options.flush == Files::Flush::BeforeRename)
        syncDirectory(directoryOf(target)); // the content is safe already; not every file system can do this
    return 0;
}

} // namespace

namespace Files {

Outcome<QByteArray> read(const QString &path, qint64 maxBytes)
{
    const auto failed = [&path](int code) { return failure(u"无法读取"_s, path, code); };
    // A FIFO would block without O_NONBLOCK.
    const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen())
        return failed(errno);
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0)
        return failed(errno);
    if (!S_ISREG(status.st_mode))
        return failed(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    if (status.st_size > maxBytes)
        return failed(EFBIG);

    // One byte more than the size tells whether the file grew meanwhile.
    QByteArray content(status.st_size + 1, Qt::Uninitialized);
    qsizetype length = 0;
    for (;;) {
        if (length == content.size()) {
            if (length > maxBytes)
                return failed(EFBIG);
            content.resize(length + qMax<qsizetype>(length, 65536));
        }
        const ssize_t count = ::read(file.get(), content.data() + length, static_cast<size_t>(content.size() - length));
        if (count == 0)
            break;
        if (count > 0)
            length += count;
        else if (errno != EINTR)
            return failed(errno);
    }
    content.truncate(length);
    return content;
}

Outcome<void> replace(const QString &path, const QByteArray &content, const ReplaceOptions &options)
{
    if (const int error = replaceBytes(QFile::encodeName(path), content, options))
        return failure(u"无法写入"_s, path, error);
    return {};
}

Outcome<void> makeDirectory(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0700) == 0)
        return {};
    if (errno == ENOENT) {
        const QByteArray parent = directoryOf(name);
        if (parent != name && parent != ".") {
            if (Outcome<void> made = makeDirectory(QFile::decodeName(parent)); !made)
                return made;
            if (::mkdir(name.constData(), 0700) == 0)
                return {};
        }
    }
    const int error = errno;
    if (error == EEXIST || error == EROFS || error == EACCES) {
        struct stat status = {};
        if (::stat(name.constData(), &status) == 0 && S_ISDIR(status.st_mode))
            return {};
    }
    return failure(u"无法创建文件夹"_s, path, error == EEXIST ? ENOTDIR : error);
}

Outcome<QString> moveAside(const QString &path, const QString &base, const QString &suffix)
{
    constexpr int mostCopies = 10'000;
    for (int number = 1; number <= mostCopies; ++number) {
        const QString target = number == 1 ? base + suffix : base + u'-' + QString::number(number) + suffix;
        const QByteArray from = QFile::encodeName(path);
        const QByteArray to = QFile::encodeName(target);
        if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
            return target;
        if (errno == EINVAL || errno == ENOSYS) {
            // A file system without the flag: a hard link does not replace anything either.
            if (::link(from.constData(), to.constData()) == 0 && ::unlink(from.constData()) == 0)
                return target;
        }
        if (errno != EEXIST)
            return failure(u"无法移动"_s, path, errno);
    }
    return failure(u"无法移动"_s, path, EEXIST);
}

QString describeErrno(int code)
{
    switch (code) {
    case EACCES:
    case EPERM: return u"没有权限"_s;
    case ENOENT: return u"文件或文件夹不存在"_s;
    case ENOSPC: return u"磁盘空间不足"_s;
    case EDQUOT: return u"超出了磁盘配额"_s;
    case EROFS: return u"文件系统是只读的"_s;
    case EISDIR: return u"这是一个文件夹"_s;
    case ENOTDIR: return u"路径中有一部分不是文件夹"_s;
    case EEXIST: return u"文件已经存在"_s;
    case ELOOP: return u"符号链接循环"_s;
    case EFBIG: return u"文件太大"_s;
    case ENAMETOOLONG: return u"路径太长"_s;
    case EIO: return u"读写磁盘出错"_s;
    case EBUSY:
    case ETXTBSY: return u"文件正被其他程序使用"_s;
    case EINVAL: return u"这不是普通文件"_s;
    case EMFILE:
    case ENFILE: return u"打开的文件太多"_s;
    case ENOMEM: return u"内存不足"_s;
    default: return u"系统错误 %1"_s.arg(code);
    }
}

Failure failure(const QString &attempt, const QString &path, int code)
{
    return {u"%1 %2：%3。"_s.arg(attempt, path, describeErrno(code)), code};
}

} // namespace Files
