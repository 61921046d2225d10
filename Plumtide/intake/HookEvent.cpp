#include "Plumtide/intake/HookEvent.h"

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/model/JsonMember.h"
#include "Plumtide/system/Characters.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype summaryLength = 40; // user-perceived characters

// Qt ignores a backslash before any other character.
bool hasOnlyKnownEscapes(QByteArrayView line)
{
    qsizetype at = line.indexOf('\\');
    while (at >= 0 && at + 1 < line.size() && QByteArrayView("\"\\/bfnrtu").contains(line[at + 1]))
        at = line.indexOf('\\', at + 2);
    return at < 0;
}

} // namespace

std::optional<HookEvent> HookEvent::decode(QByteArrayView line)
{
    const QJsonDocument document = readJson(QByteArray::fromRawData(line.data(), line.size()));
    if (!document.isObject() || !hasOnlyKnownEscapes(line))
        return std::nullopt;
    HookEvent event;
    const bool isFit = readMember(document["session_id"_L1], event.sessionId)
        && readMember(document["hook_event_name"_L1], event.hookEventName) && readMember(document["cwd"_L1], event.cwd)
        && readMember(document["tool_name"_L1], event.toolName) && readMember(document["prompt"_L1], event.prompt)
        && readMember(document["assistant"_L1], event.assistant)
        && readMember(document["tool_input"_L1], event.toolInput)
        && readMember(document["tavvel_ts"_L1], event.tavvelTs);
    return isFit ? std::optional(event) : std::nullopt;
}

QDateTime HookEvent::date(const QDateTime &now) const
{
    constexpr double earliest = -62'135'596'800, latest = 253'402'300'800; // the beginnings of the years 1 and 10000
    if (!tavvelTs || !(*tavvelTs >= earliest && *tavvelTs < latest))       // false for NaN, too
        return now;
    QDateTime date = now.toUTC(); // Qt::UTC as an argument is deprecated, its successor came with Qt 6.5
    date.setMSecsSinceEpoch(static_cast<qint64>(std::floor(*tavvelTs * 1000)));
    return date;
}

bool HookEvent::isCodex() const
{
    return isByCodexRecord || (hookEventName && hookEventName->startsWith("Codex"_L1));
}

QString HookEvent::lineId() const
{
    return AgentTask::idOf(isCodex() ? TaskSource::codex : TaskSource::claude, sessionId.value_or(QString()));
}

std::optional<QString> HookEvent::toolInputSummary() const
{
    for (const auto key :
         {"command"_L1, "file_path"_L1, "path"_L1, "pattern"_L1, "url"_L1, "description"_L1, "prompt"_L1}) {
        const QString text = toolInput ? wellFormed(toolInput->value(key).toString()) : QString();
        if (!text.isEmpty())
            return squeeze(text, summaryLength);
    }
    return std::nullopt;
}

std::optional<QString> HookEvent::squeeze(const QString &text, qsizetype max)
{
    const QString line = text.split(lineBreaks(), Qt::SkipEmptyParts).join(u' ').trimmed();
    if (line.isEmpty())
        return std::nullopt;
    if (line.size() <= max) // a character has at least one code unit
        return line;
    // It seldom has more than a few (the emoji of a family of four has eleven), but may have any number of accents.
    constexpr qsizetype mostUnitsOfACharacter = 64;
    const QString start = wellFormed(line.left(max * mostUnitsOfACharacter));
    const qsizetype cut = characterEnds(start, max).value(max - 1, start.size());
    return cut < line.size() ? start.first(cut) + u'…' : line;
}
