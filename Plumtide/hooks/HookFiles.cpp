#include "Plumtide/hooks/HookFiles.h"

#include "Plumtide/system/Files.h"

#include <QFile>

#include <cerrno>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

Q_LOGGING_CATEGORY(hooksLog, "plumtide.hooks", QtWarningMsg)

namespace {

constexpr qint64 largestFile = 4 * 1024 * 1024;
constexpr mode_t permissionBits = 07777;

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

Outcome<void> backUp(const QString &path, const QByteArray &content, const QString &original)
{
    if (Outcome<void> kept = original.isEmpty() ? Outcome<void>() : replaceOwn(original, content, 0600); !kept)
        return kept;
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
    return Files::replace(path, content, {.ownMode = mode});
}

} // namespace HookFiles
