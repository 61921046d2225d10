#include "Plumtide/hooks/ClaudeSettings.h"
#include "Plumtide/hooks/CodexConfig.h"
#include "Plumtide/hooks/HookFiles.h"
#include "Plumtide/hooks/HooksInstaller.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;
using HookFiles::Content;

namespace {

// The tool's file as it was before our first change; version 0.1.1 kept only the last backup.
Content originalOf(const QString &path, const QString &kept)
{
    const Outcome<Content> content = HookFiles::read(QFile::exists(kept) ? kept : path + HookFiles::backupSuffix);
    return content ? content.value() : Content();
}

struct Removed
{
    QString sentence;
    bool isComplete = false; // no file of the tool names the script
};

// Restores the tool's file. `edited` is what our edit has made of `original`; `withoutEntries` removes our entries.
template <typename WithoutEntries>
Removed uninstall(const QString &tool, const QString &done, const QString &path, const Content &original,
                  const Content &edited, const QString &script, const WithoutEntries &withoutEntries)
{
    bool isChanged = false;
    const auto edit = [&](const Content &content) -> Outcome<Content> {
        isChanged = false;
        if (!content)
            return Content();
        Outcome<QByteArray> wanted = withoutEntries(*content);
        if (original && original != content && edited == content)
            wanted = *original;
        if (!wanted)
            return wanted.failure();
        isChanged = wanted.value() != *content;
        return isChanged ? Content(wanted.value()) : Content();
    };
    if (const Outcome<void> changed = HookFiles::change(path, edit); !changed)
        return {u"%1 取消接入失败：%2"_s.arg(tool, changed.failure().sentence)};
    const QDir folder = QFileInfo(path).dir();
    const QString name = QFileInfo(path).fileName();
    for (const QFileInfo &file : folder.entryInfoList({name, u"*."_s + name}, QDir::Files)) { // with Codex's profiles
        if (HookFiles::contentOf(file.filePath()).contains(script.toUtf8()))
            return {u"%1 里还有 Plumtide 认不出的 %2，没有动它：请自己删掉。"_s.arg(file.filePath(), script)};
    }
    return {isChanged ? done : u"%1 没有接入，没有改动。"_s.arg(tool), true};
}

Removed removeClaude(const QString &home)
{
    const QString path = home + HookFiles::claudeSettings;
    const Content original = originalOf(path, home + HookFiles::claudeOriginal);
    const ClaudeSettings::Result edit = ClaudeSettings::edit(
        original.value_or(QByteArray()), ClaudeSettings::shellCommand(home + HookFiles::claudeScript));
    const auto *edited = std::get_if<QByteArray>(&edit);
    return uninstall(u"Claude Code"_s, u"Claude Code 取消接入了。"_s, path, original,
                     edited ? Content(*edited) : Content(), HookFiles::claudeScript, &ClaudeSettings::remove);
}

Removed removeCodex(const QString &home)
{
    const QString path = home + HookFiles::codexConfig;
    const Content original = originalOf(path, home + HookFiles::codexOriginal);
    QStringList forwarded = QString::fromUtf8(HookFiles::contentOf(home + HookFiles::codexForward)).split(u'\n');
    if (forwarded.last().isEmpty()) // behind the last line feed
        forwarded.removeLast();
    // The original line, as long as its words are still those that our script runs.
    QByteArray previous = CodexConfig::notifyLine(original.value_or(QByteArray()));
    if (CodexConfig::tomlStringElements(QString::fromUtf8(previous)) != forwarded)
        previous = forwarded.isEmpty() ? QByteArray() : CodexConfig::notifyLine(forwarded);
    const CodexConfig::Result result =
        CodexConfig::edit(original.value_or(QByteArray()), home + HookFiles::codexScript);
    const auto *edit = std::get_if<CodexConfig::Edit>(&result);
    return uninstall(u"Codex"_s,
                     previous.isEmpty() ? u"Codex 取消接入了，重启 Codex 后就生效。"_s
                                        : u"Codex 取消接入了，原来的通知也放回去了。重启 Codex 后就生效。"_s,
                     path, original, edit && edit->previousCommand == forwarded ? Content(edit->content) : Content(),
                     HookFiles::codexScript,
                     [&](const QByteArray &content) { return CodexConfig::remove(content, previous); });
}

} // namespace

QStringList HooksInstaller::remove(const QString &home)
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
