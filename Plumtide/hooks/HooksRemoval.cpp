#include "Plumtide/hooks/HooksRemoval.h"

#include "Plumtide/hooks/ClaudeSettings.h"
#include "Plumtide/hooks/CodexConfig.h"
#include "Plumtide/hooks/HookFiles.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;
using HookFiles::Content;

namespace {

Content contentAt(const QString &path)
{
    const Outcome<Content> content = HookFiles::read(path);
    return content ? content.value() : Content();
}

// The tool's file before our first change of it; of version 0.1.1, before the last one.
Content originalOf(const QString &path, const QString &kept)
{
    return contentAt(QFile::exists(kept) ? kept : HookFiles::backupOf(path));
}

struct Removed
{
    QString sentence;
    bool isGone = false; // the tool's file does not name the script
};

// Makes of the tool's file the original again. `without` takes our entries out of a content, `with` puts them in.
template <typename Without, typename With>
Removed takeOut(const QString &tool, const QString &done, const QString &path, const Content &original,
                const QString &script, const Without &without, const With &with)
{
    bool isChanged = false;
    const auto change = [&](const Content &content) -> Outcome<Content> {
        isChanged = false;
        if (!content)
            return Content();
        Outcome<QByteArray> wanted = without(*content);
        if (original && original != content && with(*original) == content) // what we have made of it is there still
            wanted = *original;
        if (!wanted)
            return wanted.failure();
        if (wanted.value() == *content)
            return Content();
        if (const Outcome<void> kept = HookFiles::backUp(path, *content); !kept)
            return kept.failure();
        isChanged = true;
        return Content(wanted.value());
    };
    if (const Outcome<void> changed = HookFiles::change(path, change); !changed)
        return {u"%1 取消接入失败：%2"_s.arg(tool, changed.failure().sentence)};
    if (contentAt(path).value_or(QByteArray()).contains(script.toUtf8()))
        return {u"%1 里还有 Plumtide 认不出的 %2，没有动它：请自己删掉。"_s.arg(path, script)};
    return {isChanged ? done : u"%1 没有接入，没有改动。"_s.arg(tool), true};
}

Removed removeClaude(const QString &home)
{
    const auto contentOr = [](const ClaudeSettings::Result &result) -> Outcome<QByteArray> {
        if (const auto *content = std::get_if<QByteArray>(&result))
            return *content;
        const auto *failure = std::get_if<Failure>(&result);
        return failure ? *failure : Failure{u"settings.json 不是常规格式，没有改动。"_s};
    };
    const QString command = ClaudeSettings::shellCommand(home + HookFiles::claudeScript);
    const QString path = home + HookFiles::claudeSettings;
    return takeOut(
        u"Claude Code"_s, u"Claude Code 取消接入了。"_s, path, originalOf(path, home + HookFiles::claudeOriginal),
        HookFiles::claudeScript, [&](const QByteArray &content) { return contentOr(ClaudeSettings::remove(content)); },
        [&](const QByteArray &content) {
            const Outcome<QByteArray> edited = contentOr(ClaudeSettings::edit(content, command));
            return edited ? Content(edited.value()) : Content();
        });
}

Removed removeCodex(const QString &home)
{
    const QString path = home + HookFiles::codexConfig;
    const Content original = originalOf(path, home + HookFiles::codexOriginal);
    // The earlier line itself, as long as the words that we run are still those on it.
    QStringList forwarded =
        QString::fromUtf8(contentAt(home + HookFiles::codexForward).value_or(QByteArray())).split(u'\n');
    if (forwarded.last().isEmpty()) // behind the last line feed
        forwarded.removeLast();
    QByteArray previous = CodexConfig::notifyLine(original.value_or(QByteArray()));
    if (CodexConfig::tomlStringElements(QString::fromUtf8(previous)) != forwarded)
        previous = forwarded.isEmpty() ? QByteArray() : CodexConfig::notifyLine(forwarded);
    return takeOut(
        u"Codex"_s,
        previous.isEmpty() ? u"Codex 取消接入了，重启 Codex 后就生效。"_s
                           : u"Codex 取消接入了，原来的通知也放回去了。重启 Codex 后就生效。"_s,
        path, original, HookFiles::codexScript,
        [&](const QByteArray &content) { return CodexConfig::remove(content, previous); },
        [&](const QByteArray &content) {
            const CodexConfig::Result result = CodexConfig::edit(content, home + HookFiles::codexScript);
            const auto *edit = std::get_if<CodexConfig::Edit>(&result);
            return edit && edit->previousCommand == forwarded ? Content(edit->content) : Content();
        });
}

} // namespace

QStringList HooksRemoval::remove(const QString &home)
{
    const Removed claude = removeClaude(home), codex = removeCodex(home);
    QStringList ours;
    if (claude.isGone)
        ours += HookFiles::claudeOriginal;
    if (codex.isGone)
        ours += {HookFiles::codexScript, HookFiles::codexForward, HookFiles::codexOriginal,
                 HookFiles::hooksDir + u"/codex-client-seen"_s};
    if (claude.isGone && codex.isGone) // its script runs this one
        ours += HookFiles::claudeScript;
    for (const QString &file : std::as_const(ours))
        QFile::remove(home + file);
    QDir().rmdir(home + HookFiles::hooksDir); // unless there is something of somebody else in it
    return {claude.sentence, codex.sentence};
}
