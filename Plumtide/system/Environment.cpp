#include "Plumtide/system/Environment.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <cerrno>

#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString homeDirectory()
{
    QString home = qEnvironmentVariable("HOME");
    if (home.isEmpty()) {
        if (const passwd *entry = ::getpwuid(::getuid()))
            home = QFile::decodeName(entry->pw_dir);
    }
    return QDir::cleanPath(QDir::current().absoluteFilePath(home));
}

bool answersSignals(pid_t pid)
{
    return ::kill(pid, 0) == 0 || errno == EPERM;
}

// Beside the program in a build tree, under the prefix once installed. PLUMTIDE_RESOURCES names another place, for
// a checkout whose program was built elsewhere.
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

bool isSameFile(const QString &a, const QString &b)
{
    struct stat first = {};
    struct stat second = {};
    return ::stat(QFile::encodeName(a).constData(), &first) == 0
        && ::stat(QFile::encodeName(b).constData(), &second) == 0 && first.st_dev == second.st_dev
        && first.st_ino == second.st_ino;
}

// The name by which the user started us, which may be a link that an update moves on; what the link leads to carries a
// version in its name more often. Only the kernel is to be believed, though: any name can be handed to a program.
QString ownProgram()
{
    const QString file = QCoreApplication::applicationFilePath();
    const QString name = QCoreApplication::arguments().value(0);
    const QString named =
        name.contains(u'/') ? QDir::current().absoluteFilePath(name) : QStandardPaths::findExecutable(name);
    return isSameFile(named, u"/proc/self/exe"_s) ? QDir::cleanPath(named) : file;
}

} // namespace

const QString &Environment::realHome()
{
    static const QString home = homeDirectory();
    return home;
}

Environment Environment::real()
{
    static const QString program = ownProgram(); // at the start; an update may replace the file at any time
    static const auto defaults = std::make_shared<Defaults>(Defaults::standardPath(realHome())); // one for all services
    return {
        .home = realHome(),
        .clock = [] { return QDateTime::currentDateTimeUtc(); },
        .defaults = defaults,
        .processExists = answersSignals,
        .resourcesDir = resourcesDirectory(),
        .program = program,
        .ownerPatience = std::chrono::seconds(1),
    };
}
