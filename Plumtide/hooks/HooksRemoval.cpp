#include "Plumtide/hooks/HooksRemoval.h"

#include "Plumtide/hooks/ClaudeSettings.h"
#include "Plumtide/hooks/CodexConfig.h"
#include "Plumtide/hooks/HookFiles.h"

#include <QDir>

using namespace Qt::StringLiterals;
using HookFiles::Content;

namespace {

QByteArray bytesAt(const QString &path)
{
    const Outcome<Content> content = HookFiles::read(path);
    return content ? content.value().value_or(QByteArray()) : QByteArray();
}

// Makes of the tool's file what it was before us, and removes `ours`, below the home, the first of which the file
// names. `without` takes our entries out of a content, `with` puts them in.
template <typename Without, typename With>
QString takeOut(const QString &home, const QString &tool, const QString &done, const QString &path,
                const QStringList &ours, const Without &without, const With &with)
{
    bool isChanged = false;
    const auto change = [&](const Content &content) -> Outcome<Content> {
        isChanged = false;
        if (!content)
            return Content();
        Outcome<QByteArray> wanted = without(*content);
        // What we have made of the copy is there still: the copy is what was before, unless it has our entries, too.
        const Outcome<Content> copy = HookFiles::read(HookFiles::backupOf(path));
        if (const Content before = copy ? copy.value() : Content(); before && with(*before) == content) {
            if (const Outcome<QByteArray> same = without(*before); same && same.value() == *before)
                wanted = *before;
        }
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
        return u"%1 取消接入失败：%2"_s.arg(tool, changed.failure().sentence);
    if (bytesAt(path).contains(ours.first().toUtf8()))
        return u"%1 里还有 Plumtide 认不出的 %2，没有动它：请自己删掉。"_s.arg(path, ours.first());
    for (const QString &file : ours)
        QFile::remove(home + file);
    QDir().rmdir(home + HookFiles::hooksDir); // unless there is something of somebody else in it
    return isChanged ? done : u"%1 没有接入，没有改动。"_s.arg(tool);
}

} // namespace

QString HooksRemoval::removeClaude(const QString &home)
{
    const auto contentOr = [](const ClaudeSettings::Result &result) -> Outcome<QByteArray> {
        if (const auto *content = std::get_if<QByteArray>(&result))
            return *content;
        const auto *failure = std::get_if<Failure>(&result);
        return failure ? *failure : Failure{u"settings.json 不是常规格式，没有改动。"_s};
    };
    const QString command = ClaudeSettings::shellCommand(home + HookFiles::claudeScript);
    return takeOut(
        home, u"Claude Code"_s, u"Claude Code 取消接入了。"_s, home + HookFiles::claudeSettings,
        {HookFiles::claudeScript},
        [&](const QByteArray &content) { return contentOr(ClaudeSettings::remove(content)); },
        [&](const QByteArray &content) {
            const Outcome<QByteArray> edited = contentOr(ClaudeSettings::edit(content, command));
            return edited ? Content(edited.value()) : Content();
        });
}

QString HooksRemoval::removeCodex(const QString &home)
{
    const QString path = home + HookFiles::codexConfig;
    // The earlier line itself, as long as the words that we run are still those on it.
    QStringList forwarded = QString::fromUtf8(bytesAt(home + HookFiles::codexForward)).split(u'\n');
    if (forwarded.last().isEmpty()) // behind the last line feed
        forwarded.removeLast();
    QByteArray previous = CodexConfig::notifyLine(bytesAt(HookFiles::backupOf(path)));
    if (CodexConfig::tomlStringElements(QString::fromUtf8(previous)) != forwarded)
        previous = forwarded.isEmpty() ? QByteArray() : CodexConfig::notifyLine(forwarded);
    const QStringList ours{HookFiles::codexScript, HookFiles::codexForward,
                           HookFiles::hooksDir + u"/codex-client-seen"_s};
    return takeOut(
        home, u"Codex"_s,
        previous.isEmpty() ? u"Codex 取消接入了，重启 Codex 后就生效。"_s
                           : u"Codex 取消接入了，原来的通知也放回去了。重启 Codex 后就生效。"_s,
        path, ours, [&](const QByteArray &content) { return CodexConfig::remove(content, previous); },
        [&](const QByteArray &content) {
            const CodexConfig::Result result = CodexConfig::edit(content, home + HookFiles::codexScript);
            const auto *edit = std::get_if<CodexConfig::Edit>(&result);
            return edit && edit->previousCommand == forwarded ? Content(edit->content) : Content();
        });
}
