#include "Plumtide/system/Files.h"

#include "Plumtide/system/Descriptor.h"
#include "Plumtide/system/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <sys/file.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString temporarySuffix = u".tavvel-new"_s; // distinguishes them from temporary files of other programs

bool writeAll(int descriptor, QByteArrayView content)
{
    while (!content.isEmpty()) {
        const ssize_t count = ::write(descriptor, content.data(), static_cast<size_t>(content.size()));
        if (count < 0 && errno != EINTR)
            return false;
        content = content.sliced(qMax<qsizetype>(count, 0));
    }
    return true;
}

// The target of the links at `path`, which need not exist. Still a link if they form a circle.
QFileInfo targetOf(const QString &path)
{
    QFileInfo info(path);
    constexpr int longestChain = 40; // as the kernel's own limit
    for (int hop = 0; hop < longestChain && info.isSymLink(); ++hop)
        info.setFile(info.symLinkTarget());
    return info;
}

// Files::replace without its message: 0, or the errno of the step that failed.
int replaceBytes(const QString &path, const QByteArray &content, const Files::ReplaceOptions &options)
{
    const QFileInfo info = options.ownMode ? QFileInfo(path) : targetOf(path);
    if (!options.ownMode && info.isSymLink())
        return ELOOP;
    const QByteArray target = QFile::encodeName(info.filePath());
    mode_t mode = options.ownMode.value_or(0600);
    struct stat existing = {};
    if (::lstat(target.constData(), &existing) == 0) {
        if (S_ISDIR(existing.st_mode))
            return EISDIR;
        if (!S_ISREG(existing.st_mode) && !S_ISLNK(existing.st_mode))
            return EINVAL; // a device or a FIFO
        if (S_ISREG(existing.st_mode) && !options.ownMode) {
            if (::faccessat(AT_FDCWD, target.constData(), W_OK, AT_EACCESS) != 0)
                return errno;
            mode = existing.st_mode & ALLPERMS;
        }
    }

    // Keeps `removeTemporaries` away. May fail without harm: while that runs, and in the home, which HomeLock locks.
    const Descriptor folder(info.path(), O_RDONLY | O_DIRECTORY);
    ::flock(folder.get(), LOCK_SH | LOCK_NB);
    // A name that does not exist yet, so that two writers do not meet.
    QByteArray temporary = QFile::encodeName(info.path() + u"/."_s + info.fileName() + u".XXXXXX"_s + temporarySuffix);
    const int file = ::mkostemps(temporary.data(), static_cast<int>(temporarySuffix.size()), O_CLOEXEC);
    if (file < 0)
        return errno;
    // Before the mode, since it may clear bits of that.
    if (S_ISREG(existing.st_mode) && ::fchown(file, existing.st_uid, existing.st_gid) != 0
        && ::fchown(file, ::geteuid(), existing.st_gid) != 0)
        qCDebug(systemLog) << path << "gets another owner and group";
    int error = 0;
    if (!writeAll(file, content) || ::fchmod(file, mode) != 0 || (options.isFlushed && ::fsync(file) != 0))
        error = errno;
    // Closed before the rename: a program that is open for writing cannot be started, and the agents may start their
    // hooks at any time. Some network file systems report a full disk only here.
    if (::close(file) != 0 && error == 0)
        error = errno;
    if (error == 0 && ::rename(temporary.constData(), target.constData()) != 0)
        error = errno;
    if (error != 0)
        ::unlink(temporary.constData());
    else if (options.isFlushed)
        ::fsync(folder.get()); // not every file system can do this; the content is on the disk already
    return error;
}

// The sentence for an `errno`, without a full stop.
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
    case ELOOP: return u"符号链接循环"_s;
    case EFBIG: return u"文件太大"_s;
    case ENAMETOOLONG: return u"路径太长"_s;
    case EIO: return u"读写磁盘出错"_s;
    case EBUSY: return u"文件正被其他程序使用"_s;
    case EINVAL: return u"这不是普通文件"_s;
    case EMFILE:
    case ENFILE: return u"打开的文件太多"_s;
    case ENOMEM: return u"内存不足"_s;
    default: return u"系统错误 %1"_s.arg(code);
    }
}

} // namespace

namespace Files {

Outcome<QByteArray> read(const QString &path, qint64 maxBytes)
{
    const auto failed = [&path](int code) { return failure(u"无法读取"_s, path, code); };
    const Descriptor file(path, O_RDONLY);
    struct stat status = {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0)
        return failed(errno);
    if (!S_ISREG(status.st_mode))
        return failed(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    if (status.st_size > maxBytes)
        return failed(EFBIG);
    QFile reader;
    const bool isOpen = reader.open(file.get(), QIODevice::ReadOnly | QIODevice::Unbuffered);
    QByteArray content = isOpen ? reader.read(status.st_size + 1) : QByteArray();
    if (content.size() > status.st_size)
        return failed(EBUSY); // it is being written, or is one of /proc, which may have no end
    return reader.error() == QFileDevice::NoError ? Outcome(std::move(content)) : failed(EIO);
}

Outcome<void> replace(const QString &path, const QByteArray &content, const ReplaceOptions &options)
{
    if (const int error = replaceBytes(path, content, options))
        return failure(u"无法写入"_s, path, error);
    return {};
}

void removeTemporaries(const QString &path)
{
    for (const QString &place : QSet<QString>{QFileInfo(path).path(), targetOf(path).path()}) {
        const Descriptor lock(place, O_RDONLY | O_DIRECTORY);
        QDir folder(place);
        if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) // it is missing, or another process writes there
            continue;
        for (const QString &name : folder.entryList({u".*.??????"_s + temporarySuffix}, QDir::Files | QDir::Hidden))
            folder.remove(name);
    }
}

Outcome<void> makeDirectory(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir())
        return {};
    if (Outcome<void> made = info.exists() || info.path() == path ? Outcome<void>() : makeDirectory(info.path()); !made)
        return made;
    if (::mkdir(QFile::encodeName(path).constData(), 0700) == 0)
        return {};
    return failure(u"无法创建文件夹"_s, path, errno == EEXIST ? ENOTDIR : errno);
}

Outcome<QString> moveAside(const QString &path, const QString &base, const QString &suffix)
{
    for (int number = 1;; ++number) {
        const QString target = number == 1 ? base + suffix : base + u'-' + QString::number(number) + suffix;
        const QByteArray from = QFile::encodeName(path);
        const QByteArray to = QFile::encodeName(target);
        if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
            return target;
        // Where the file system lacks that flag: a hard link does not replace anything, either.
        if (errno == EINVAL && ::link(from.constData(), to.constData()) == 0 && ::unlink(from.constData()) == 0)
            return target;
        if (errno != EEXIST)
            return failure(u"无法移动"_s, path, errno);
    }
}

Failure failure(const QString &attempt, const QString &path, int code)
{
    Failure failure{u"%1 %2：%3。"_s.arg(attempt, path, describeErrno(code)), code};
    qCDebug(systemLog) << failure.sentence;
    return failure;
}

} // namespace Files
