#include "Plumtide/hooks/HookFiles.h"

#include "Plumtide/system/Files.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestFile = 4 * 1024 * 1024; // indented by its depth, a text can become a hundred times as large

mode_t modeOf(const QString &path)
{
    // Qt keeps four bits for each of owner, user, group and others; a mode has three for each.
    const auto permissions = static_cast<mode_t>(QFileInfo(path).permissions().toInt());
    const mode_t mode = ((permissions >> 12) & 7) << 6 | ((permissions >> 4) & 7) << 3 | (permissions & 7);
    return mode != 0 ? mode : 0600; // gone since it was read
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
        if (!wanted.value())
            return {};
        const Outcome<Content> now = read(path);
        if (!now)
            return now.failure();
        if (now.value() == before.value())
            return Files::replace(path, *wanted.value());
    }
    return Failure{u"%1 正被其他程序频繁修改，请稍后再试。"_s.arg(path)};
}

Outcome<void> backUp(const QString &path, const QByteArray &content)
{
    return replaceOwn(path + u".backup-tavvel"_s, content, modeOf(path));
}

Outcome<void> replaceOwn(const QString &path, const QByteArray &content, mode_t mode)
{
    const Files::ReplaceOptions options{
        .newFileMode = mode, .forceMode = true, .links = Files::Links::Replace, .flush = Files::Flush::BeforeRename};
    Outcome<void> replaced = Files::replace(path, content, options);
    if (!replaced && replaced.failure().code == EACCES && QFile::remove(path)) // it was write-protected
        replaced = Files::replace(path, content, options);
    return replaced;
}

} // namespace HookFiles
