#include "Plumtide/desktop/Autostart.h"

#include "Plumtide/system/Defaults.h"
#include "Plumtide/system/Files.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestEntry = 64 * 1024;
const QByteArray groupHeader = "[Desktop Entry]";

using Lines = QList<QByteArray>;

// The line that begins the entry's own group; -1 when there is none.
qsizetype headerOf(const Lines &lines)
{
    const auto found =
        std::find_if(lines.begin(), lines.end(), [](const QByteArray &line) { return line.trimmed() == groupHeader; });
    return found == lines.end() ? -1 : found - lines.begin();
}

// The line of a key in the entry's own group; -1 when there is none.
qsizetype lineOf(const Lines &lines, const QByteArray &key)
{
    bool isOwnGroup = false;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        if (line.startsWith('['))
            isOwnGroup = line == groupHeader;
        else if (isOwnGroup && line.left(line.indexOf('=')).trimmed() == key)
            return i;
    }
    return -1;
}

QByteArray value(const Lines &lines, const QByteArray &key)
{
    const qsizetype at = lineOf(lines, key);
    return at < 0 ? QByteArray() : lines[at].mid(lines[at].indexOf('=') + 1).trimmed();
}

bool isHidden(const Lines &lines)
{
    return value(lines, "Hidden") == "true" || value(lines, "X-GNOME-Autostart-enabled") == "false";
}

// A text in a desktop entry.
QByteArray escaped(QByteArray text)
{
    return text.replace('\\', "\\\\");
}

// One argument of Exec: quoted where it has to be, then written as a text. A percent sign begins a field code.
QByteArray execArgument(const QByteArray &argument)
{
    static const QByteArray reserved = " \t\"'\\><~|&;$*?#()`";
    QByteArray result = argument;
    if (std::any_of(argument.begin(), argument.end(), [](char c) { return reserved.contains(c); })) {
        result = "\"";
        for (const char c : argument) {
            if (c == '"' || c == '`' || c == '$' || c == '\\')
                result += '\\';
            result += c;
        }
        result += '"';
    }
    return escaped(result.replace('%', "%%"));
}

// The first argument of an Exec line, the other way round. Empty when it cannot be read.
QString programOf(const QByteArray &exec)
{
    QByteArray text; // without the escapes of a text
    for (qsizetype i = 0; i < exec.size(); ++i) {
        if (exec[i] == '\\' && i + 1 < exec.size() && exec[i + 1] == '\\')
            ++i;
        text += exec[i];
    }
    QByteArray program;
    const bool isQuoted = text.startsWith('"');
    for (qsizetype i = isQuoted ? 1 : 0; i < text.size() && text[i] != (isQuoted ? '"' : ' '); ++i) {
        if ((text[i] == '\\' || text[i] == '%') && i + 1 < text.size())
            ++i;
        program += text[i];
    }
    return QFile::decodeName(program);
}

// A name without a folder is looked up by the session in a PATH of its own; it is taken for there.
bool isProgramThere(const Lines &lines)
{
    const QString program = programOf(value(lines, "Exec"));
    return !program.isEmpty() && (!program.startsWith(u'/') || QFileInfo(program).isExecutable());
}

void removeKey(Lines &lines, const QByteArray &key)
{
    for (qsizetype at = lineOf(lines, key); at >= 0; at = lineOf(lines, key))
        lines.removeAt(at);
}

void setKey(Lines &lines, const QByteArray &key, const QByteArray &value)
{
    if (const qsizetype at = lineOf(lines, key); at >= 0)
        lines[at] = key + '=' + value;
    else
        lines.insert(headerOf(lines) + 1, key + '=' + value);
}

Lines withoutProgram(Lines lines)
{
    removeKey(lines, "Exec");
    removeKey(lines, "TryExec");
    return lines;
}

} // namespace

Autostart::Autostart(QString entryPath, QString program) : m_path(std::move(entryPath)), m_program(std::move(program))
{
}

QString Autostart::standardPath(const QString &home)
{
    return Defaults::configHome(home) + u"/autostart/plumtide.desktop"_s;
}

bool Autostart::isOn() const
{
    const Outcome<Lines> lines = readLines();
    return lines && !isHidden(lines.value()) && isProgramThere(lines.value());
}

Outcome<void> Autostart::setOn(bool isOn) const
{
    Outcome<Lines> read = readLines();
    if (!read)
        return read.failure();
    Lines lines = std::move(read).value();
    const bool isForeign = headerOf(lines) < 0;
    if (isOn) {
        // A desktop entry is made of lines.
        if (std::any_of(m_program.begin(), m_program.end(), [](QChar c) { return c < u' '; }))
            return Failure{u"无法写入“%1”：程序的路径不能用作启动项。"_s.arg(m_path)};
        if (lines.isEmpty())
            return write(ownLines());
        if (isForeign)
            return Failure{u"无法修改“%1”：不是桌面启动项。"_s.arg(m_path)};
        removeKey(lines, "Hidden");
        removeKey(lines, "X-GNOME-Autostart-enabled");
        if (!isProgramThere(lines)) {
            setKey(lines, "TryExec", escaped(QFile::encodeName(m_program)));
            setKey(lines, "Exec", execArgument(QFile::encodeName(m_program)));
        }
        return write(lines);
    }
    if (lines.isEmpty() || isHidden(lines) || isForeign) // nothing would start it
        return {};
    if (!QFileInfo(m_path).isSymLink() && withoutProgram(lines) == withoutProgram(ownLines()))
        return remove();
    setKey(lines, "Hidden", "true");
    return write(lines);
}

Outcome<Lines> Autostart::readLines() const
{
    Outcome<QByteArray> content = Files::read(m_path, largestEntry);
    if (content)
        return content.value().isEmpty() ? Lines() : content.value().split('\n');
    if (content.failure().code == ENOENT)
        return Lines();
    return content.failure();
}

Lines Autostart::ownLines() const
{
    const QByteArray program = QFile::encodeName(m_program);
    return {groupHeader,
            "Type=Application",
            "Name=Plumtide",
            "Comment=Follows your Claude Code and Codex sessions from the tray",
            "Comment[zh_CN]=在托盘里跟进 Claude Code 与 Codex 的会话",
            "Exec=" + execArgument(program),
            "TryExec=" + escaped(program), // a login after the program was removed passes over the entry
            "Icon=plumtide",
            "Terminal=false",
            ""};
}

Outcome<void> Autostart::write(const Lines &lines) const
{
    if (const Outcome<void> made = Files::makeDirectory(QFileInfo(m_path).path()); !made)
        return made;
    return Files::replace(m_path, lines.join('\n'));
}

Outcome<void> Autostart::remove() const
{
    if (::unlink(QFile::encodeName(m_path).constData()) == 0 || errno == ENOENT)
        return {};
    return Files::failure(u"无法删除"_s, m_path, errno);
}
