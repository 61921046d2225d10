#include "Plumtide/hooks/HookFiles.h"

#include "Plumtide/system/Files.h"

#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

Q_LOGGING_CATEGORY(hooksLog, "plumtide.hooks", QtWarningMsg)

namespace {

// Indented by its depth, a text can become a hundred times as large.
constexpr qint64 largestFile = 4 * 1024 * 1024;
constexpr mode_t permissionBits = 07777;

// Replaces a tool's file. Qt follows a link, keeps the mode, and has the content on the disk before it takes the name.
Outcome<void> replaceTheirs(const QString &path, const QByteArray &content)
{
    const auto failed = [&path] { return Files::failure(u"无法写入"_s, path, errno != 0 ? errno : EIO); };
    const bool isNew = !QFileInfo::exists(path);
    // A rename asks for the folder's permission only.
    if (!isNew && ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), W_OK, AT_EACCESS) != 0)
        return failed();
    QSaveFile file(path);
    errno = 0; // Qt keeps the reason as a text in the language of the locale
    if (!file.open(QIODevice::WriteOnly))
        return failed();
    if (isNew && !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner))
        return failed();
    if (file.write(content) != content.size() || !file.commit())
        return failed();
    qCDebug(hooksLog) << "changed" << path;
    return {};
}

} // namespace

namespace HookFiles {

Outcome<Content> read(const QString &path)
{
    Outcome<QByteArray> content = Files::read(path, largestFile);
    if (content)
        return Content(std::move(content).value());
    if (content.failure().code == ENOENT)
        return Content();
    return content.failure();
}

Outcome<void> change(const QString &path, const Change &change)
{
    constexpr int attempts = 5;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const Outcome<Content> before = read(path);
        if (!before)
            return before.failure();
        const Outcome<Content> wanted = change(before.value());
        if (!wanted)
            return wanted.failure();
        if (!wanted.value() || wanted.value() == before.value())
            return {};
        const Outcome<Content> now = read(path);
        if (!now)
            return now.failure();
        if (now.value() == before.value())
            return replaceTheirs(path, *wanted.value());
        qCDebug(hooksLog) << path << "was changed by another program meanwhile";
    }
    return Failure{u"%1 正被其他程序频繁修改，请稍后再试。"_s.arg(path)};
}

Outcome<void> backUp(const QString &path, const QByteArray &content)
{
    struct stat status = {};
    const bool exists = ::stat(QFile::encodeName(path).constData(), &status) == 0;
    return replaceOwn(backupOf(path), content, exists ? status.st_mode & permissionBits : 0600);
}

Outcome<void> replaceOwn(const QString &path, const QByteArray &content, mode_t mode)
{
    struct stat status = {};
    const bool fits = ::lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISREG(status.st_mode)
        && (status.st_mode & permissionBits) == mode;
    if (const auto old = Files::read(path, largestFile); fits && old && old.value() == content)
        return {};
    qCDebug(hooksLog) << "writing" << path << "mode" << Qt::oct << mode;
    const Files::ReplaceOptions options{
        .newFileMode = mode, .forceMode = true, .links = Files::Links::Replace, .flush = Files::Flush::BeforeRename};
    Outcome<void> replaced = Files::replace(path, content, options);
    if (!replaced && replaced.failure().code == EACCES && QFile::remove(path)) // it was write-protected
        replaced = Files::replace(path, content, options);
    return replaced;
}

} // namespace HookFiles
