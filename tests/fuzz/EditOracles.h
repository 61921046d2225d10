#pragma once

#include "Plumtide/hooks/ClaudeSettings.h"
#include "Plumtide/hooks/CodexConfig.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <toml++/toml.h>

#include <algorithm>

using namespace Qt::StringLiterals;

// What must hold of every edit of another program's file, for the fuzz targets and for the ordinary tests. An oracle
// edits a file's content, says in a word how that went, after a colon why, and throws the promise that the edit broke.

inline void require(bool holds, const char *promise)
{
    if (!holds)
        throw std::logic_error(promise);
}

// "edited" or "refused".
inline QByteArray editClaudeSettings(const QByteArray &before)
{
    const auto command = u"'/h \"好\\/.tavvel/hooks/tavvel-hook.sh'"_s;
    const ClaudeSettings::Result result = ClaudeSettings::edit(before, command);
    if (const auto *failure = std::get_if<Failure>(&result))
        return "refused:" + failure->sentence.toUtf8();
    if (std::holds_alternative<ClaudeSettings::Refusal>(result))
        return "refused:";
    const QByteArray after = std::get<QByteArray>(result);
    require(std::get<QByteArray>(ClaudeSettings::edit(after, command)) == after, "a second edit changes nothing");
    const QByteArray without = ClaudeSettings::remove(after).value();
    if (!before.contains("tavvel-hook.sh")) {
        require(!without.contains("tavvel-hook.sh"), "what was put in can be taken out");
        require(std::get<QByteArray>(ClaudeSettings::edit(without, command)) == after, "and nothing else with it");
    }

    // Qt's reader stops at 1,024 levels, and drops a byte order mark at the start of a text unless an escape follows.
    QJsonParseError error;
    QJsonObject old = QJsonDocument::fromJson(before.isEmpty() ? "{}" : before, &error).object();
    if (error.error != QJsonParseError::NoError || after.contains("\xEF\xBB\xBF"))
        return "edited:";
    QJsonObject now = QJsonDocument::fromJson(after).object();
    const QJsonObject oldHooks = old.take(u"hooks").toObject(), hooks = now.take(u"hooks").toObject();
    require(now == old, "all but the hooks keeps its value");
    const QJsonObject own{{u"hooks"_s, QJsonArray{QJsonObject{{u"type"_s, u"command"_s}, {u"command"_s, command}}}}};
    for (const QString &event : oldHooks.keys() + hooks.keys()) {
        QJsonArray entries = oldHooks[event].toArray();
        entries.append(own);
        require(hooks[event] == oldHooks[event] || hooks[event] == entries,
                "an event gets one entry at most, behind its own");
    }
    return "edited:";
}

inline QByteArray withoutMark(const QByteArray &text)
{
    return text.sliced(text.startsWith("\xEF\xBB\xBF") ? 3 : 0);
}

// As toml++ reads it; absent where it is not valid. The reader's behaviour is undefined for many characters beyond
// ASCII: each of their bytes becomes a "!", which is valid in the same places.
inline std::optional<toml::table> readToml(const QByteArray &text)
{
    std::string ascii = withoutMark(text).toStdString();
    std::ranges::replace_if(
        ascii, [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '!');
    try {
        return toml::parse(ascii);
    } catch (const toml::parse_error &) {
        return std::nullopt;
    }
}

// "added", "chained", "already", "foreign" or "refused".
inline QByteArray editCodexConfig(const QByteArray &before)
{
    const QByteArray line = R"(notify = ["/h \"好\\\t\u007f/.tavvel/hooks/codex-notify.sh"])";
    const CodexConfig::Result result = CodexConfig::edit(before, u"/h \"好\\\t\x7f/.tavvel/hooks/codex-notify.sh"_s);
    if (const auto *failure = std::get_if<Failure>(&result))
        return "refused:" + failure->sentence.toUtf8();
    if (const auto *unchanged = std::get_if<CodexConfig::Unchanged>(&result))
        return *unchanged == CodexConfig::Unchanged::AlreadyInstalled ? "already:" : "foreign:";
    const auto &[after, previous] = std::get<CodexConfig::Edit>(result);
    require(!before.contains("codex-notify") && after.contains(line), "the script is named once");

    const QByteArray head = after.first(after.indexOf(line));
    const QByteArray tail = after.sliced(head.size() + line.size());
    require(!('\n' + withoutMark(head)).contains("\n["), "no header stands above it");
    if (previous.isEmpty()) {
        require(tail.startsWith("\n[") ? before == head + tail.sliced(1) : tail == "\n" && head == before + '\n',
                "a new line stands directly above the first header, or at the end");
    } else {
        const QByteArray old = before.mid(head.size(), before.size() - head.size() - tail.size());
        require(before == head + old + tail && old.startsWith("notify"), "the line takes the place of the earlier one");
        require(!old.contains('\n') && (!old.endsWith('\r') || !tail.startsWith('\n')), "line ends stay");
        require(CodexConfig::tomlStringElements(QString::fromUtf8(old)) == previous, "the earlier command is kept");
    }
    const Outcome<QByteArray> without = CodexConfig::remove(after, CodexConfig::notifyLine(before));
    require(without ? without.value() == before || without.value() == before + '\n' : !readToml(before),
            "what was put in can be taken out");
    if (std::optional<toml::table> old = readToml(before)) {
        std::optional<toml::table> now = readToml(after);
        require(now && now->erase("notify") == 1, "a valid file stays valid");
        old->erase("notify");
        require(*old == *now, "all other keys keep their value");
    }
    return previous.isEmpty() ? "added:" : "chained:";
}
