#include "bench/support/Workspace.h"

#include "Plumtide/system/Files.h"
#include "bench/support/Report.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString scratchTemplate()
{
    const QString named = qEnvironmentVariable("TMPDIR");
    return (named.isEmpty() ? QStringLiteral(BENCH_SCRATCH_DIR) : named) + u"/home-XXXXXX"_s;
}

} // namespace

Workspace::Workspace() : m_directory(scratchTemplate())
{
    if (!m_directory.isValid())
        Report::giveUp("no temporary directory: " + m_directory.errorString().toUtf8());
    if (!Files::makeDirectory(path(u".tavvel"_s)))
        Report::giveUp("the temporary directory cannot be written.");
    write(defaultsFile(), "[General]\n"); // the first start would open the panel
}

void Workspace::write(const QString &path, const QByteArray &content) const
{
    if (!Files::makeDirectory(QFileInfo(path).path()) || !Files::replace(path, content))
        Report::giveUp("cannot write " + QFile::encodeName(path));
}

void Workspace::settleDisk() const
{
    const int directory = ::open(QFile::encodeName(home()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ::syncfs(directory);
    ::close(directory);
}

Environment Workspace::environment() const
{
    const Environment real = Environment::real();
    return {.home = home(),
            .clock = real.clock,
            .defaults = Defaults(defaultsFile()),
            .processExists = real.processExists,
            .resourcesDir = real.resourcesDir,
            .program = real.program};
}

std::vector<QByteArray> Workspace::variables(const QByteArray &path) const
{
    std::vector<QByteArray> result{
        "HOME=" + QFile::encodeName(home()),
        "PATH=" + (path.isEmpty() ? QByteArray("/usr/local/bin:/usr/bin:/bin") : path),
    };
    for (const char *name : {"LANG", "LC_ALL", "TZ"}) {
        if (qEnvironmentVariableIsSet(name))
            result.push_back(QByteArray(name) + '=' + qgetenv(name));
    }
    return result;
}
