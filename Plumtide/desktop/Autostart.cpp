#include "Plumtide/desktop/Autostart.h"

#include "Plumtide/system/Defaults.h"
#include "Plumtide/system/Files.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

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

// One argument of Exec: quoted where necessary, then escaped as a string value. A percent sign begins a field code.
QString execArgument(QString argument)
{
    static const QRegularExpression reserved(u"[ \\t\"'\\\\><~|&;$*?#()`]"_s), special(u"([\"`$\\\\])"_s);
    if (argument.contains(reserved))
        argument = u'"' + argument.replace(special, u"\\\\1"_s) + u'"';
    return argument.replace(u'%', u"%%"_s).replace(u'\\', u"\\\\"_s);
}

// A desktop entry in Latin-1: each character is one byte of the file.
struct Entry
{
    QString header; // up to and with the line "[Desktop Entry]"; empty where there is none
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
    // True for a name without a folder, which the session looks up in its own PATH.
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

// With TryExec, the entry is ignored after the program was removed.
QString programLines(const QString &program)
{
    const QString name = QString::fromLatin1(QFile::encodeName(program));
    return u"Exec=%1 %2\nTryExec=%3\n"_s.arg(execArgument(name), QLatin1StringView(Autostart::flag),
                                             QString(name).replace(u'\\', u"\\\\"_s));
}

Entry ownEntry(const QString &program)
{
    return Entry("[Desktop Entry]\nType=Application\nName=Plumtide\n"
                 "Comment=Follows your Claude Code and Codex sessions from the tray\n"
                 "Comment[zh_CN]=在托盘里跟进 Claude Code 与 Codex 的会话\n"
                 + programLines(program).toLatin1() + "Icon=plumtide\nTerminal=false\n");
}

} // namespace

QString Autostart::standardPath(const QString &home)
{
    return Defaults::configHome(home) + u"/autostart/plumtide.desktop"_s;
}

bool Autostart::isOn() const
{
    const Outcome<QByteArray> content = Files::read(m_path, largestEntry);
    const Entry entry(content ? content.value() : QByteArray());
    return !entry.isHidden() && entry.isProgramThere();
}

Outcome<void> Autostart::setOn(bool isOn) const
{
    const Outcome<QByteArray> content = Files::read(m_path, largestEntry);
    if (!content && content.failure().code != ENOENT)
        return content.failure();
    const QByteArray before = content ? content.value() : QByteArray();
    Entry entry = before.isEmpty() && isOn ? ownEntry(m_program) : Entry(before);
    const bool isForeign = entry.header.isEmpty();
    if (isOn) {
        static const QRegularExpression control(u"[\\x00-\\x1f]"_s); // has no place in a desktop entry
        if (isForeign || m_program.contains(control))
            return Failure{u"无法写入“%1”：不是桌面启动项，或者程序的路径不能用作启动项。"_s.arg(m_path)};
        entry.remove(hiding);
        if (!entry.isProgramThere()) {
            entry.remove(starting);
            entry.group.prepend(programLines(m_program));
        }
    } else {
        if (isForeign || entry.isHidden()) // it is off
            return {};
        if (!QFileInfo(m_path).isSymLink() && entry.withoutProgram() == ownEntry(m_program).withoutProgram())
            return QFile::remove(m_path) ? Outcome<void>() : Files::failure(u"无法删除"_s, m_path, errno);
        entry.group.prepend(u"Hidden=true\n"_s);
    }
    if (const Outcome<void> made = Files::makeDirectory(QFileInfo(m_path).path()); !made)
        return made;
    return Files::replace(m_path, entry.content());
}
