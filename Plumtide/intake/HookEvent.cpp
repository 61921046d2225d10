#include "Plumtide/intake/HookEvent.h"

#include "Plumtide/model/MemberReader.h"
#include "Plumtide/system/Characters.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <array>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype summaryLength = 40; // user-perceived characters

// The first and the last millisecond that a stored time can name: years 1 to 9999.
const qint64 earliestMsecs = QDateTime({1, 1, 1}, {0, 0}, Qt::UTC).toMSecsSinceEpoch();
const qint64 latestMsecs = QDateTime({9999, 12, 31}, {23, 59, 59, 999}, Qt::UTC).toMSecsSinceEpoch();

// Whether the texts in `line` are written as JSON has it. Qt takes any other character after a backslash for itself,
// and control characters as they are.
bool hasStrictTexts(QByteArrayView line)
{
    bool isInText = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const char byte = line[i];
        if (byte == '"')
            isInText = !isInText;
        else if (isInText && static_cast<uchar>(byte) < 0x20)
            return false;
        else if (isInText && byte == '\\' && (++i == line.size() || !QByteArrayView("\"\\/bfnrtu").contains(line[i])))
            return false;
    }
    return true;
}

bool isNewline(QChar unit)
{
    switch (unit.unicode()) {
    case 0x000A:
    case 0x000B:
    case 0x000C:
    case 0x000D:
    case 0x0085:
    case 0x2028:
    case 0x2029: return true;
    default: return false;
    }
}

bool isBlank(QChar unit)
{
    return unit == u'\t' || unit.category() == QChar::Separator_Space;
}

// The lines of `text` joined with spaces, without leading blanks, and not much longer than `most` code units: a
// prompt may have a megabyte, of which a few characters are shown.
QString joinedLines(const QString &text, qsizetype most)
{
    QString result;
    bool isBetweenPieces = false;
    for (QChar unit : text) {
        if (isNewline(unit)) {
            isBetweenPieces = true;
            continue;
        }
        if (result.isEmpty() && isBlank(unit))
            continue;
        if (isBetweenPieces && !result.isEmpty())
            result.append(u' ');
        isBetweenPieces = false;
        result.append(unit);
        if (result.size() > most && !isBlank(unit) && !unit.isHighSurrogate())
            break;
    }
    return result;
}

} // namespace

std::optional<HookEvent> HookEvent::decode(QByteArrayView line)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromRawData(line.data(), line.size()));
    if (!document.isObject() || !hasStrictTexts(line))
        return std::nullopt;

    const QJsonObject object = document.object();
    MemberReader reader(object);
    HookEvent event;
    event.sessionId = reader.text("session_id"_L1);
    event.hookEventName = reader.text("hook_event_name"_L1);
    event.cwd = reader.text("cwd"_L1);
    event.toolName = reader.text("tool_name"_L1);
    event.prompt = reader.text("prompt"_L1);
    event.assistant = reader.text("assistant"_L1);
    if (const std::optional<QJsonObject> input = reader.object("tool_input"_L1))
        event.toolInput = JSONValue::membersOf(*input);
    event.tavvelTs = reader.number("tavvel_ts"_L1);
    if (!reader.isFit())
        return std::nullopt;
    return event;
}

QDateTime HookEvent::date(const QDateTime &now) const
{
    if (!tavvelTs)
        return now;
    const double msecs = std::floor(*tavvelTs * 1000.0);
    // Written so that a NaN is turned away, too.
    if (!(msecs >= static_cast<double>(earliestMsecs) && msecs <= static_cast<double>(latestMsecs)))
        return now;
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(msecs), Qt::UTC);
}

bool HookEvent::isCodex() const
{
    return hookEventName && hookEventName->startsWith("Codex"_L1);
}

std::optional<QString> HookEvent::toolInputSummary() const
{
    if (!toolInput)
        return std::nullopt;
    static const std::array keys{u"command"_s, u"file_path"_s,   u"path"_s,  u"pattern"_s,
                                 u"url"_s,     u"description"_s, u"prompt"_s};
    for (const QString &key : keys) {
        const auto member = toolInput->constFind(key);
        if (member == toolInput->constEnd())
            continue;
        const QString *text = member->string();
        if (text && !text->isEmpty())
            return squeeze(*text, summaryLength);
    }
    return std::nullopt;
}

std::optional<QString> HookEvent::squeeze(const QString &text, qsizetype max)
{
    // A character has a handful of code units (a family of four has eleven).
    constexpr qsizetype mostUnitsOfACharacter = 64;
    const QString joined = joinedLines(text, max * mostUnitsOfACharacter);
    qsizetype end = joined.size();
    while (end > 0 && isBlank(joined.at(end - 1)))
        --end;
    if (end == 0)
        return std::nullopt;

    const QString line = joined.first(end);
    // A character has at least one code unit, so a short text needs no counting.
    if (line.size() <= max)
        return line;
    const qsizetype cut = characterEnds(line, max).value(max - 1, line.size());
    return cut < line.size() ? line.first(cut) + u'…' : line;
}
