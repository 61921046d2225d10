#include "Plumtide/desktop/Autostart.h"

#include "Plumtide/system/Defaults.h"
#include "Plumtide/system/Files.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestEntry = 64 * 1024;
constexpr auto hiding = "Hidden|X-GNOME-Autostart-enabled";
constexpr auto starting = "TryExec|Exec";

QRegularExpression lineOf(const char *keys)
{
    return QRegularExpression(u"^[ \\t]*(?:%1)[ \\t]*=[ \\t]*(.*?)[ \\t\\r]*(?:\\n|\\z)"_s.arg(QLatin1StringView(keys)),
                              QRegularExpression::MultilineOption);
}

// A text in a desktop entry.
QString escaped(QString text)
{
    return text.replace(u'\\', u"\\\\"_s);
}

// One argument of Exec: quoted where it has to be, then written as a text. A percent sign begins a field code.
QString execArgument(QString argument)
{
    static const QRegularExpression reserved(u"[ \\t\"'\\\\><~|&;$*?#()`]"_s), special(u"([\"`$\\\\])"_s);
    if (argument.contains(reserved))
        argument = u'"' + argument.replace(special, u"\\\\1"_s) + u'"';
    return escaped(argument.replace(u'%', u"%%"_s));
}

// A desktop entry, byte for byte: each character stands for one byte.
struct Entry
{
    QString header; // up to the end of the line that begins the entry's own group; empty when there is none
    QString group;
    QString rest;

    explicit Entry(const QByteArray &content)
    {
        static const QRegularExpression parts(u"\\A(.*?^[ \\t]*\\[Desktop Entry\\][ \\t\\r]*(?:\\n|\\z))"
                                              "(.*?)((?:^[ \\t]*\\[.*)?)\\z"_s,
                                              QRegularExpression::MultilineOption
                                                  | QRegularExpression::DotMatchesEverythingOption);
        const QRegularExpressionMatch match = parts.match(QString::fromLatin1(content));
        header = match.captured(1);
        group = match.captured(2);
        rest = match.captured(3);
    }

    [[nodiscard]] QByteArray content() const { return (header + group + rest).toLatin1(); }
    [[nodiscard]] QString value(const char *key) const { return lineOf(key).match(group).captured(1); }
    void remove(const char *keys) { group.remove(lineOf(keys)); }
    [[nodiscard]] bool isHidden() const
    {
        return value("Hidden") == u"true" || value("X-GNOME-Autostart-enabled") == u"false";
    }
    // A name without a folder is looked up by the session in a PATH of its own; it is taken for there.
    [[nodiscard]] bool isProgramThere() const
    {
        static const QRegularExpression first(u"\\A(?:\"((?:[^\"\\\\]|\\\\.)*)\"|(\\S+))"_s), quoted(u"\\\\(.)"_s);
        const QRegularExpressionMatch match = first.match(value("Exec").replace(u"\\\\"_s, u"\\"_s));
        QString name = match.captured(1).replace(quoted, u"\\1"_s) + match.captured(2);
        const QString program = QFile::decodeName(name.replace(u"%%"_s, u"%"_s).toLatin1());
        return !program.isEmpty() && (!program.startsWith(u'/') || QFileInfo(program).isExecutable());
    }
    [[nodiscard]] QString withoutProgram() const { return header + QString(group).remove(lineOf(starting)) + rest; }
};

// A login after the program was removed passes over the entry, by TryExec.
QString programLines(const QString &program)
{
    const QString name = QString::fromLatin1(QFile::encodeName(program));
    return u"Exec=%1 %2\nTryExec=%3\n"_s.arg(execArgument(name), QLatin1StringView(Autostart::flag), escaped(name));
}

Entry ownEntry(const QString &program)
{
    return Entry("[Desktop Entry]\nType=Application\nName=Plumtide\n"
                 "Comment=Follows your Claude Code and Codex sessions from the tray\n"
                 "Comment[zh_CN]=在托盘里跟进 Claude Code 与 Codex 的会话\n"
                 + programLines(program).toLatin1() + "Icon=plumtide\nTerminal=false\n");
}

// Empty when there is no entry.
Outcome<QByteArray> readEntry(const QString &path)
{
    Outcome<QByteArray> content = Files::read(path, largestEntry);
    if (!content && content.failure().code == ENOENT)
        return QByteArray();
    return content;
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
    const Outcome<QByteArray> content = readEntry(m_path);
    const Entry entry(content ? content.value() : QByteArray());
    return !entry.isHidden() && entry.isProgramThere();
}

Outcome<void> Autostart::setOn(bool isOn) const
{
    const Outcome<QByteArray> content = readEntry(m_path);
    if (!content)
        return content.failure();
    Entry entry = content.value().isEmpty() && isOn ? ownEntry(m_program) : Entry(content.value());
    const bool isForeign = entry.header.isEmpty();
    if (isOn) {
        // A desktop entry is made of lines.
        if (isForeign || std::any_of(m_program.cbegin(), m_program.cend(), [](QChar c) { return c < u' '; }))
            return Failure{u"无法写入“%1”：不是桌面启动项，或者程序的路径不能用作启动项。"_s.arg(m_path)};
        entry.remove(hiding);
        if (!entry.isProgramThere()) {
            entry.remove(starting);
            entry.group.prepend(programLines(m_program));
        }
    } else {
        if (isForeign || entry.isHidden()) // nothing would start it
            return {};
        if (!QFileInfo(m_path).isSymLink() && entry.withoutProgram() == ownEntry(m_program).withoutProgram())
            return QFile::remove(m_path) ? Outcome<void>() : Files::failure(u"无法删除"_s, m_path, errno);
        entry.group.prepend(u"Hidden=true\n"_s);
    }
    if (const Outcome<void> made = Files::makeDirectory(QFileInfo(m_path).path()); !made)
        return made;
    return Files::replace(m_path, entry.content());
}
