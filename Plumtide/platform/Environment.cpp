#include "Plumtide/platform/Environment.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cerrno>

#include <pwd.h>
#include <signal.h>
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

} // namespace

const QString &Environment::realHome()
{
    static const QString home = homeDirectory();
    return home;
}

Environment Environment::real()
{
    static const auto defaults = std::make_shared<Defaults>(Defaults::standardPath(realHome())); // one for all services
    return {
        .home = realHome(),
        .clock = [] { return QDateTime::currentDateTimeUtc(); },
        .defaults = defaults,
        .processExists = answersSignals,
        .resourcesDir = resourcesDirectory(),
        .ownerPatience = std::chrono::seconds(1),
    };
}
