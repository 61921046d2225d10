#include "Plumtide/system/Environment.h"

#include "Plumtide/system/Process.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

#include <cerrno>
#include <filesystem>

#include <pwd.h>
#include <signal.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

bool isInProcessTable(pid_t pid, const QString &start)
{
    if (::kill(pid, 0) != 0 && errno != EPERM)
        return false;
    return start.isEmpty() || QLatin1StringView(Process::of(pid).start) == start;
}

// Beside the program in a build tree, under the prefix once installed, or where PLUMTIDE_RESOURCES says.
QString resourcesDirectory()
{
    const QString named = qEnvironmentVariable("PLUMTIDE_RESOURCES");
    if (!named.isEmpty())
        return named;
    const QDir programDir(QCoreApplication::applicationDirPath());
    for (const QString &candidate : {u"resources"_s, u"../share/plumtide"_s}) {
        if (programDir.exists(candidate + u"/hooks"_s))
            return QDir::cleanPath(programDir.absoluteFilePath(candidate));
    }
    return {};
}

// The path by which the user started the program. It may be a link that stays the same after an update, while its
// target often has a version in its name. It is compared with /proc/self/exe, since the caller can pass any name.
QString ownProgram()
{
    const QString name = QCoreApplication::arguments().value(0);
    const QString named =
        name.contains(u'/') ? QDir::current().absoluteFilePath(name) : QStandardPaths::findExecutable(name);
    std::error_code error;
    const bool isThisProgram =
        std::filesystem::equivalent(QFile::encodeName(named).toStdString(), "/proc/self/exe", error);
    return isThisProgram ? QDir::cleanPath(named) : QCoreApplication::applicationFilePath();
}

} // namespace

QString Environment::realHome()
{
    QString home = qEnvironmentVariable("HOME");
    if (!QDir::isAbsolutePath(home)) {
        const passwd *const entry = ::getpwuid(::getuid());
        home = entry ? QFile::decodeName(entry->pw_dir) : QString();
    }
    return QDir::isAbsolutePath(home) ? QDir::cleanPath(home) : QString();
}

Environment Environment::real()
{
    const QString home = realHome();
    return {
        .home = home,
        .clock = [] { return QDateTime::currentDateTimeUtc(); },
        .defaults = Defaults(Defaults::standardPath(home), Defaults::standardSparePath(home)),
        .processExists = isInProcessTable,
        .resourcesDir = resourcesDirectory(),
        .program = ownProgram(),
    };
}
