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

// The tool's file as it was before our first change; version 0.1.1 kept only the last backup.
Content originalOf(const QString &path, const QString &kept)
{
    return contentAt(QFile::exists(kept) ? kept : HookFiles::backupOf(path));
}

struct Removed
{
    QString sentence;
    bool isComplete = false; // the tool's file does not name the script
};

// Restores the tool's file. `withoutEntries` removes our entries from a content, `withEntries` adds them.
template <typename WithoutEntries, typename WithEntries>
Removed uninstall(const QString &tool, const QString &done, const QString &path, const Content &original,
                  const QString &script, const WithoutEntries &withoutEntries, const WithEntries &withEntries)
{
    bool isChanged = false;
    const auto edit = [&](const Content &content) -> Outcome<Content> {
        isChanged = false;
        if (!content)
            return Content();
        Outcome<QByteArray> wanted = withoutEntries(*content);
        if (original && original != content && withEntries(*original) == content) // unchanged since our edit
            wanted = *original;
        if (!wanted)
            return wanted.failure();
        isChanged = wanted.value() != *content;
        return isChanged ? Content(wanted.value()) : Content();
    };
    if (const Outcome<void> changed = HookFiles::change(path, edit); !changed)
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
    return uninstall(
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
    // The original line, as long as its words are still those that our script runs.
    QStringList forwarded =
        QString::fromUtf8(contentAt(home + HookFiles::codexForward).value_or(QByteArray())).split(u'\n');
    if (forwarded.last().isEmpty()) // behind the last line feed
        forwarded.removeLast();
    QByteArray previous = CodexConfig::notifyLine(original.value_or(QByteArray()));
    if (CodexConfig::tomlStringElements(QString::fromUtf8(previous)) != forwarded)
        previous = forwarded.isEmpty() ? QByteArray() : CodexConfig::notifyLine(forwarded);
    return uninstall(
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
    if (claude.isComplete)
        ours += HookFiles::claudeOriginal;
    if (codex.isComplete)
        ours += {HookFiles::codexScript, HookFiles::codexForward, HookFiles::codexOriginal, HookFiles::codexClientSeen};
    if (claude.isComplete && codex.isComplete) // Codex's script runs Claude Code's
        ours += HookFiles::claudeScript;
    for (const QString &file : std::as_const(ours))
        QFile::remove(home + file);
    QDir().rmdir(home + HookFiles::hooksDir); // only if it is empty
    return {claude.sentence, codex.sentence};
}
