#include "Plumtide/hooks/CodexConfig.h"

#include "Plumtide/system/Characters.h"

#include <toml++/toml.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr char byteOrderMark[] = "\xEF\xBB\xBF";
constexpr qsizetype deepest = 10'000; // levels, see `mostLevels`

const Failure uncheckable{u"config.toml 里有没法核对的写法，为避免弄坏它，这次没有改动。"_s};
const Failure unintended{u"config.toml 的写法比较特别，自动改动会弄坏它，这次没有改动。"_s};

struct Range
{
    qsizetype begin = 0;
    qsizetype end = 0; // one past the last byte
};

QByteArrayView bytesOf(const QByteArray &text, Range range)
{
    return QByteArrayView(text).sliced(range.begin, range.end - range.begin);
}

// Everything above the first table header.
Range rootTableOf(const QByteArray &config)
{
    const qsizetype begin = config.startsWith(byteOrderMark) ? 3 : 0;
    const qsizetype header = ('\n' + config.sliced(begin)).indexOf("\n[");
    return {begin, header < 0 ? config.size() : begin + header};
}

// Without its line end.
std::optional<Range> findNotifyLine(const QByteArray &text, Range rootTable)
{
    static const QRegularExpression notify(uR"(^notify[^\S\n]*=[^\n]*?(?=\r?\n|\z))"_s,
                                           QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = notify.match(QString::fromLatin1(bytesOf(text, rootTable)));
    if (!match.hasMatch())
        return {};
    return Range{rootTable.begin + match.capturedStart(), rootTable.begin + match.capturedEnd()};
}

// For a text that is not valid TOML: finds any spelling of the key in the root table, or a table of that name.
bool seemsToHaveNotify(const QByteArray &text, Range rootTable)
{
    const auto isIn = [&text](Range range, const QString &before, const QString &after) {
        const QString line = uR"(^[^\S\n]*%1(?:notify|"notify"|'notify')[^\S\n]*(?:\.|%2))"_s.arg(before, after);
        return QString::fromLatin1(bytesOf(text, range))
            .contains(QRegularExpression(line, QRegularExpression::MultilineOption));
    };
    return isIn(rootTable, QString(), u"="_s)
        || isIn({rootTable.begin, text.size()}, uR"(\[\[?[^\S\n]*)"_s, uR"(\])"_s);
}

// An upper bound for the levels of nested tables. toml++ builds, compares and deletes them by recursion, which takes
// some 250 bytes of the stack a level. It limits nested brackets to 256, but not the dots in a key.
qsizetype mostLevels(const QByteArray &text)
{
    qsizetype mostDots = 0;
    for (const QByteArray &line : text.split('\n'))
        mostDots = qMax(mostDots, line.count('.'));
    const qsizetype mostKeys = 2 + qMin<qsizetype>(text.count('{'), 256); // of a header, a line, and its inline tables
    return mostKeys * (mostDots + 1);
}

// toml++ 3.3 has undefined behaviour for many characters beyond ASCII outside of strings, as in "a = [\uFEFB]". So each
// of their bytes becomes a "!" and two digits, which is as invalid there; different texts stay different.
QByteArray asAscii(const QByteArray &text)
{
    QByteArray ascii;
    for (const char c : text)
        ascii += static_cast<unsigned char>(c) >= 0x80 || c == '!' ? '!' + QByteArray(1, c).toHex() : QByteArray(1, c);
    return ascii;
}

std::optional<toml::table> parse(const QByteArray &text)
{
    try {
        return toml::parse(asAscii(text.startsWith(byteOrderMark) ? text.sliced(3) : text).toStdString());
    } catch (const toml::parse_error &) {
        return std::nullopt;
    }
}

bool isSameButNotify(toml::table before, toml::table after)
{
    before.erase("notify");
    after.erase("notify");
    return before == after;
}

bool hasNotify(const toml::table &table, const QString &scriptPath)
{
    const toml::array *notify = table.get_as<toml::array>("notify");
    return notify && notify->size() == 1
        && notify->get(0)->value_exact<std::string>() == asAscii(scriptPath.toUtf8()).toStdString();
}

} // namespace

namespace CodexConfig {

Result edit(const QByteArray &config, const QString &scriptPath)
{
    if (!config.isValidUtf8())
        return Failure{u"config.toml 不是 UTF-8 文本，这次没有改动。"_s};
    if (config.contains("codex-notify"))
        return Unchanged::AlreadyInstalled;

    const Range rootTable = rootTableOf(config);
    const std::optional<Range> line = findNotifyLine(config, rootTable);
    const QByteArray newLine = notifyLine(QStringList{scriptPath});

    Edit result{.content = config, .previousCommand = {}};
    if (line) {
        result.previousCommand = tomlStringElements(QString::fromUtf8(bytesOf(config, *line)));
        if (result.previousCommand.isEmpty())
            return Unchanged::ForeignNotify;
        result.content.replace(line->begin, line->end - line->begin, newLine);
    } else if (rootTable.end < config.size()) {
        result.content.insert(rootTable.end, newLine + '\n');
    } else {
        result.content += '\n' + newLine + '\n';
    }

    if (mostLevels(config) > deepest)
        return uncheckable;
    const std::optional<toml::table> original = parse(config);
    if (!line && (original ? original->contains("notify") : seemsToHaveNotify(config, rootTable)))
        return Unchanged::ForeignNotify;
    const std::optional<toml::table> after = original ? parse(result.content) : std::nullopt;
    if (original && !(after && hasNotify(*after, scriptPath) && isSameButNotify(*original, *after)))
        return unintended;
    return result;
}

Outcome<QByteArray> remove(const QByteArray &config, const QByteArray &previousLine)
{
    std::optional<Range> line = findNotifyLine(config, rootTableOf(config));
    const QStringList words = line ? tomlStringElements(QString::fromUtf8(bytesOf(config, *line))) : QStringList();
    if (words.size() != 1 || !words.first().endsWith("/.tavvel/hooks/codex-notify.sh"_L1))
        return config;
    QByteArray result = config;
    if (previousLine.isEmpty() && line->end < config.size()) // with its line end
        line->end = config.indexOf('\n', line->end) + 1;
    result.replace(line->begin, line->end - line->begin, previousLine);
    if (mostLevels(config) > deepest || mostLevels(result) > deepest)
        return uncheckable;
    const std::optional<toml::table> original = parse(config), after = parse(result);
    if (original && !(after && isSameButNotify(*original, *after)))
        return unintended;
    return result;
}

QByteArray notifyLine(const QByteArray &config)
{
    const std::optional<Range> line = findNotifyLine(config, rootTableOf(config));
    return line ? bytesOf(config, *line).toByteArray() : QByteArray();
}

QByteArray notifyLine(const QStringList &command)
{
    QByteArrayList words;
    for (const QString &word : command) { // a string of JSON is one of TOML, except for DEL
        const QByteArray array = QJsonDocument(QJsonArray{word}).toJson(QJsonDocument::Compact);
        words.append(array.sliced(1, array.size() - 2).replace('\x7f', "\\u007f"));
    }
    return "notify = [" + words.join(", ") + ']';
}

QStringList tomlStringElements(const QString &line)
{
    QStringList elements;
    bool isInArray = false, isEscaped = false;
    QChar openQuote; // null outside of strings
    qsizetype at = 0;
    for (const qsizetype end : characterEnds(line, line.size())) {
        const QStringView character = QStringView(line).sliced(at, end - at);
        at = end;
        // A quote with an accent is one character, and no quote.
        const QChar single = character.size() == 1 ? character.front() : QChar();
        if (!isInArray) {
            isInArray = single == u'[';
        } else if (openQuote.isNull()) {
            if (single == u']')
                return elements;
            if (single == u'"' || single == u'\'') {
                openQuote = single;
                elements.append(QString());
            }
        } else if (!isEscaped && single == openQuote) {
            openQuote = QChar();
        } else {
            isEscaped = !isEscaped && single == u'\\' && openQuote == u'"';
            if (!isEscaped)
                elements.last() += character;
        }
    }
    return {};
}

} // namespace CodexConfig
