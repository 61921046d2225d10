#include "bench/support/Child.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::vector<char *> pointers(const std::vector<QByteArray> &texts)
{
    std::vector<char *> result;
    for (const QByteArray &text : texts)
        result.push_back(const_cast<char *>(text.constData()));
    result.push_back(nullptr);
    return result;
}

// The number after "field:" in one of the status files of /proc.
qint64 statusField(const QString &path, const QByteArray &field)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return 0; // the thread has just ended
    const QByteArray content = '\n' + file.readAll();
    const qsizetype at = content.indexOf('\n' + field + ':');
    if (at < 0)
        return 0;
    const qsizetype begin = at + field.size() + 2;
    return content.sliced(begin, content.indexOf('\n', begin) - begin).replace("kB", "").trimmed().toLongLong();
}

} // namespace

Child::Child(const std::vector<QByteArray> &command, const std::vector<QByteArray> &variables, Input input)
    : m_name(command.front())
{
    std::signal(SIGPIPE, SIG_IGN);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    int ends[2] = {-1, -1};
    if (input == Input::Pipe) {
        if (::pipe2(ends, O_CLOEXEC) != 0)
            Report::giveUp("no pipe.");
        posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
        m_input = ends[1];
    } else {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // The ignored SIGPIPE is this program's own affair.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    const int error = ::posix_spawn(&m_pid, m_name.constData(), &actions, &attributes, pointers(command).data(),
                                    pointers(variables).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (ends[0] >= 0)
        ::close(ends[0]);
    if (error != 0)
        Report::giveUp("cannot start " + m_name);
}

Child::~Child()
{
    if (m_input >= 0)
        ::close(m_input);
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
}

void Child::feed(const QByteArray &content)
{
    for (qsizetype done = 0; done < content.size();) {
        const ssize_t count = ::write(m_input, content.constData() + done, static_cast<size_t>(content.size() - done));
        if (count > 0)
            done += count;
        else if (errno != EINTR)
            break;
    }
    ::close(m_input);
    m_input = -1;
}

void Child::terminate()
{
    ::kill(m_pid, SIGTERM);
}

rusage Child::wait()
{
    int status = 0;
    rusage used = {};
    while (::wait4(m_pid, &status, 0, &used) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        Report::giveUp(m_name + " ended badly.");
    return used;
}

qint64 Child::statusBytes(const QByteArray &field) const
{
    return 1024 * statusField(QStringLiteral("/proc/%1/status").arg(m_pid), field);
}

qint64 Child::ownStatusBytes(const QByteArray &field)
{
    return 1024 * statusField(QStringLiteral("/proc/self/status"), field);
}

qint64 Child::proportionalBytes(const QByteArray &field) const
{
    return 1024 * statusField(QStringLiteral("/proc/%1/smaps_rollup").arg(m_pid), field);
}

qint64 Child::writtenBytes() const
{
    return statusField(QStringLiteral("/proc/%1/io").arg(m_pid), "write_bytes");
}

qint64 Child::voluntarySwitches() const
{
    qint64 sum = 0;
    const QString directory = QStringLiteral("/proc/%1/task/").arg(m_pid);
    const QStringList threads = QDir(directory).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &thread : threads)
        sum += statusField(directory + thread + QStringLiteral("/status"), "voluntary_ctxt_switches");
    return sum;
}

Seconds Child::timeOfRun(const std::vector<QByteArray> &command, const std::vector<QByteArray> &variables,
                         const QByteArray &input)
{
    return Report::timeOf([&] {
        Child child(command, variables, Input::Pipe);
        child.feed(input);
        child.wait();
    });
}
