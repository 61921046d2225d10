#include "Plumtide/hooks/CodexConfig.h"

#include "Plumtide/hooks/TomlForm.h"

#include <QTextBoundaryFinder>

#include <toml++/toml.h>

#include <bit>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype largestConfig = 4 * 1024 * 1024;
constexpr char byteOrderMark[] = "\xEF\xBB\xBF";

struct Range
{
    qsizetype begin = 0;
    qsizetype end = 0; // one past the last byte
};

QByteArrayView bytesOf(const QByteArray &text, Range range)
{
    return QByteArrayView(text).sliced(range.begin, range.end - range.begin);
}

bool isBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r' && c != '\n');
}

QByteArrayView withoutLeadingBlanks(QByteArrayView text)
{
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.sliced(1);
    return text;
}

// The line that begins at `begin`, without its line feed or carriage return and line feed.
Range lineAt(const QByteArray &text, qsizetype begin)
{
    const qsizetype lineFeed = text.indexOf('\n', begin);
    if (lineFeed < 0)
        return {begin, text.size()};
    return {begin, lineFeed > begin && text[lineFeed - 1] == '\r' ? lineFeed - 1 : lineFeed};
}

// Where the line after the one at `begin` begins, or the end of the text.
qsizetype nextLine(const QByteArray &text, qsizetype begin)
{
    const qsizetype lineFeed = text.indexOf('\n', begin);
    return lineFeed < 0 ? text.size() : lineFeed + 1;
}

std::optional<qsizetype> findHeader(const QByteArray &text, qsizetype begin)
{
    for (qsizetype at = begin; at < text.size(); at = nextLine(text, at)) {
        if (text[at] == '[')
            return at;
    }
    return std::nullopt;
}

std::optional<Range> findNotifyLine(const QByteArray &text, Range rootTable)
{
    constexpr QByteArrayView key = "notify";
    for (qsizetype at = rootTable.begin; at < rootTable.end; at = nextLine(text, at)) {
        const Range range = lineAt(text, at);
        const QByteArrayView line = bytesOf(text, range);
        if (line.startsWith(key) && withoutLeadingBlanks(line.sliced(key.size())).startsWith('='))
            return range;
    }
    return std::nullopt;
}

// What follows a `notify` key, quoted or not, at the start of `text`.
std::optional<QByteArrayView> afterNotifyKey(QByteArrayView text)
{
    text = withoutLeadingBlanks(text);
    for (const QByteArrayView spelling :
         {QByteArrayView("notify"), QByteArrayView("\"notify\""), QByteArrayView("'notify'")}) {
        if (text.startsWith(spelling))
            return withoutLeadingBlanks(text.sliced(spelling.size()));
    }
    return std::nullopt;
}

// The tolerant look at a text that is no valid TOML: any spelling of the key in the root table, or a table of
// that name anywhere.
bool seemsToHaveNotify(const QByteArray &text, Range rootTable)
{
    for (qsizetype at = rootTable.begin; at < text.size(); at = nextLine(text, at)) {
        const Range range = lineAt(text, at);
        QByteArrayView line = withoutLeadingBlanks(bytesOf(text, range));
        const bool isHeader = line.startsWith('[');
        if (isHeader)
            line = line.sliced(line.startsWith("[[") ? 2 : 1);
        else if (at >= rootTable.end)
            continue;
        const auto rest = afterNotifyKey(line);
        if (rest && (rest->startsWith('.') || rest->startsWith(isHeader ? ']' : '=')))
            return true;
    }
    return false;
}

std::optional<toml::table> parse(const QByteArray &text)
{
    if (examineToml(text) != TomlForm::Readable)
        return std::nullopt;
    try {
        return toml::parse(std::string_view(text.constData(), static_cast<size_t>(text.size())));
    } catch (const toml::parse_error &) {
        return std::nullopt;
    }
}

bool isSame(const toml::node &a, const toml::node &b);

bool isSame(const toml::table &a, const toml::table &b)
{
    // Both iterate in the order of their keys.
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto &left, const auto &right) {
        return left.first == right.first && isSame(left.second, right.second);
    });
}

bool isSame(const toml::node &a, const toml::node &b)
{
    if (a.type() != b.type())
        return false;
    return a.visit([&b](const auto &left) {
        using T = std::remove_cvref_t<decltype(left)>;
        const T &right = *b.as<T>();
        if constexpr (toml::is_table<T>)
            return isSame(left, right);
        else if constexpr (toml::is_array<T>)
            return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                              [](const toml::node &l, const toml::node &r) { return isSame(l, r); });
        else if constexpr (toml::is_floating_point<T>)
            return std::bit_cast<quint64>(left.get()) == std::bit_cast<quint64>(right.get()); // also of nan
        else
            return left.get() == right.get();
    });
}

// Whether `after` is `before` with the one command as its notify.
bool isIntended(toml::table before, const QByteArray &edited, const QString &scriptPath)
{
    std::optional<toml::table> after = parse(edited);
    if (!after)
        return false;
    const toml::array *notify = after->get_as<toml::array>("notify");
    if (!notify || notify->size() != 1 || notify->get(0)->value_exact<std::string>() != scriptPath.toStdString())
        return false;
    before.erase("notify");
    after->erase("notify");
    return isSame(before, *after);
}

QByteArray basicString(const QString &text)
{
    QByteArray out("\"");
    for (const char c : text.toUtf8()) {
        if (c == '"' || c == '\\')
            out += '\\';
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            out += "\\u" + QByteArray::number(static_cast<int>(c), 16).rightJustified(4, '0');
        else
            out += c;
    }
    return out + '"';
}

} // namespace

namespace CodexConfig {

Result edit(const QByteArray &config, const QString &scriptPath)
{
    if (config.size() > largestConfig)
        return Failure{u"config.toml 太大，超过了 %1 MiB，这次没有改动。"_s.arg(largestConfig / (1024 * 1024))};
    if (!config.isValidUtf8())
        return Failure{u"config.toml 不是 UTF-8 文本，这次没有改动。"_s};
    if (config.contains("codex-notify"))
        return Unchanged::AlreadyInstalled;

    const qsizetype begin = config.startsWith(byteOrderMark) ? qsizetype(sizeof byteOrderMark) - 1 : 0;
    const std::optional<qsizetype> header = findHeader(config, begin);
    const Range rootTable{begin, header.value_or(config.size())};
    const std::optional<Range> notifyLine = findNotifyLine(config, rootTable);
    const QByteArray newLine = "notify = [" + basicString(scriptPath) + ']';

    Edit result{.content = config, .previousCommand = {}};
    if (notifyLine) {
        result.previousCommand = tomlStringElements(QString::fromUtf8(bytesOf(config, *notifyLine)));
        if (result.previousCommand.isEmpty())
            return Unchanged::ForeignNotify;
        result.content.replace(notifyLine->begin, notifyLine->end - notifyLine->begin, newLine);
    } else if (header) {
        result.content.insert(*header, newLine + '\n');
    } else {
        result.content += '\n' + newLine + '\n';
    }

    if (examineToml(config) == TomlForm::Unreadable)
        return Failure{u"config.toml 里有没法核对的写法，为避免弄坏它，这次没有改动。"_s};
    const std::optional<toml::table> original = parse(config);
    if (!notifyLine && (original ? original->contains("notify") : seemsToHaveNotify(config, rootTable)))
        return Unchanged::ForeignNotify;
    if (original && !isIntended(*original, result.content, scriptPath))
        return Failure{u"config.toml 的写法比较特别，自动改动会弄坏它，这次没有改动。"_s};
    return result;
}

QStringList tomlStringElements(const QString &line)
{
    QStringList elements;
    QString element;
    bool isInArray = false;
    bool isEscaped = false;
    QChar openQuote; // null outside of strings

    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, line);
    for (qsizetype at = 0, end; (end = finder.toNextBoundary()) >= 0; at = end) {
        const QStringView character = QStringView(line).sliced(at, end - at);
        // A quote with an accent is one character, and no quote.
        const QChar single = character.size() == 1 ? character.front() : QChar();
        if (!isInArray) {
            isInArray = single == u'[';
        } else if (openQuote.isNull()) {
            if (single == u']')
                return elements;
            if (single == u'"' || single == u'\'')
                openQuote = single;
        } else if (isEscaped) {
            element += character;
            isEscaped = false;
        } else if (single == u'\\' && openQuote == u'"') {
            isEscaped = true;
        } else if (single == openQuote) {
            elements.append(element);
            element.clear();
            openQuote = QChar();
        } else {
            element += character;
        }
    }
    return {};
}

} // namespace CodexConfig
