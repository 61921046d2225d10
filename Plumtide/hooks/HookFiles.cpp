#include "Plumtide/hooks/HookFiles.h"

#include "Plumtide/system/Files.h"
#include "Plumtide/system/Log.h"

#include <QFile>

#include <cerrno>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

constexpr qint64 largestFile = 4 * 1024 * 1024; // bytes

namespace HookFiles {

Outcome<Content> read(const QString &path)
{
    const Outcome<QByteArray> content = Files::read(path, largestFile);
    if (content)
        return Content(content.value());
    if (content.failure().code == ENOENT)
        return Content();
    return content.failure();
}

QByteArray contentOf(const QString &path)
{
    const Outcome<Content> content = read(path);
    return content ? content.value().value_or(QByteArray()) : QByteArray();
}

Outcome<void> change(const QString &path, const Edit &edit)
{
    constexpr int attempts = 5;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const Outcome<Content> before = read(path);
        if (!before)
            return before.failure();
        const Outcome<Content> wanted = edit(before.value());
        if (!wanted || !wanted.value())
            return wanted ? Outcome<void>() : wanted.failure();
        struct stat status = {};
        if (before.value() && ::stat(QFile::encodeName(path).constData(), &status) == 0) {
            if (Outcome<void> kept = replaceOwn(path + backupSuffix, *before.value(), status.st_mode & ALLPERMS); !kept)
                return kept;
        }
        if (wanted.value() == before.value())
            return {};
        if (wanted.value()->size() > largestFile)
            return Files::failure(u"无法写入"_s, path, EFBIG);
        const Outcome<Content> now = read(path);
        if (!now)
            return now.failure();
        if (now.value() == before.value()) {
            qCDebug(hooksLog) << "changing" << path;
            return Files::replace(path, *wanted.value());
        }
        qCDebug(hooksLog) << path << "was changed by another program meanwhile";
    }
    return Failure{u"%1 正被其他程序频繁修改，请稍后再试。"_s.arg(path)};
}

Outcome<void> replaceOwn(const QString &path, const QByteArray &content, mode_t mode)
{
    struct stat status = {};
    const bool fits = ::lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISREG(status.st_mode)
        && (status.st_mode & ALLPERMS) == mode;
    if (const auto old = Files::read(path, largestFile); fits && old && old.value() == content)
        return {};
    qCDebug(hooksLog) << "writing" << path << "mode" << Qt::oct << mode;
    return Files::replace(path, content, {.ownMode = mode});
}

} // namespace HookFiles
