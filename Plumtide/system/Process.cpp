#include "Plumtide/system/Process.h"

#include <QDir>
#include <QFile>

#include <filesystem>

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString pathOf(pid_t pid, const char *file)
{
    return u"/proc/%1/%2"_s.arg(pid).arg(QLatin1StringView(file));
}

QByteArray contentOf(pid_t pid, const char *name)
{
    QFile file(pathOf(pid, name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Does not access the target: it may be on a disk that does not answer.
QByteArray targetOf(const std::filesystem::path &link)
{
    std::error_code error;
    return QByteArray::fromStdString(std::filesystem::read_symlink(link, error).string());
}

} // namespace

Process Process::of(pid_t pid)
{
    const QByteArray status = contentOf(pid, "stat");
    // The name is in brackets, and may contain any character.
    const qsizetype begin = status.indexOf('('), end = status.lastIndexOf(')');
    if (begin < 0 || end < begin)
        return {};
    const QList<QByteArray> fields = status.sliced(end + 1).split(' '); // from the third one on, at 1
    const QByteArray name = status.sliced(begin + 1, end - begin - 1);
    const QByteArray program = targetOf(pathOf(pid, "exe").toStdString());
    return {pid, fields.value(2).toInt(), fields.value(5).toInt(), name, fields.value(20), program};
}

QList<Process> Process::all()
{
    QList<Process> processes;
    for (const QString &name : QDir(u"/proc"_s).entryList({u"[0-9]*"_s}, QDir::Dirs)) {
        if (const Process process = of(name.toInt()); process.pid != 0)
            processes.append(process);
    }
    return processes;
}

QString Process::variable(QByteArrayView name) const
{
    for (const QByteArray &entry : contentOf(pid, "environ").split('\0')) {
        if (entry.startsWith(name) && entry.mid(name.size()).startsWith('='))
            return QFile::decodeName(entry.sliced(name.size() + 1));
    }
    return {};
}

QList<QByteArray> Process::openFiles() const
{
    QList<QByteArray> files;
    std::error_code error;
    for (const auto &link : std::filesystem::directory_iterator(pathOf(pid, "fd").toStdString(), error))
        files.append(targetOf(link));
    return files;
}

QList<QByteArray> Process::arguments() const
{
    return contentOf(pid, "cmdline").split('\0');
}

QList<Process> Process::children() const
{
    QList<Process> children;
    const QDir tasks(pathOf(pid, "task"));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        for (const QByteArray &child : contentOf(pid, ("task/" + task.toLatin1() + "/children").constData()).split(' '))
            children.append(of(child.toInt()));
    }
    children.removeIf([](const Process &child) { return child.pid == 0; });
    return children;
}

double Process::age() const
{
    timespec sinceBoot = {};
    ::clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    const double now = static_cast<double>(sinceBoot.tv_sec) * 1000 + static_cast<double>(sinceBoot.tv_nsec) / 1e6;
    return now - start.toDouble() * 1000 / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

std::optional<QList<pid_t>> Process::flockHolders(const QString &path)
{
    struct stat status = {};
    QFile file(u"/proc/locks"_s);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QList<pid_t> holders;
    ::stat(QFile::encodeName(path).constData(), &status); // no file has the number 0
    const QByteArray ofFile = ':' + QByteArray::number(static_cast<quint64>(status.st_ino));
    for (const QByteArray &lock : file.readAll().split('\n')) { // "1: FLOCK  ADVISORY  WRITE 4711 08:01:1312 0 EOF"
        const QByteArrayList fields = lock.simplified().split(' ');
        if (fields.value(1) == "FLOCK" && fields.value(5).endsWith(ofFile))
            holders.append(fields.value(4).toInt());
    }
    return holders;
}
