// How long after a hook has logged an event is it in tasks.json?

#include "Plumtide/store/TaskFile.h"
#include "bench/support/Board.h"
#include "bench/support/Child.h"
#include "bench/support/EventMix.h"
#include "bench/support/Report.h"
#include "bench/support/Workspace.h"

#include <QFile>

#include <string_view>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Appends to a log and waits for the file that a follower of the log replaces.
class Appender
{
public:
    explicit Appender(const Workspace &workspace)
        : m_log(::open(QFile::encodeName(workspace.logFile()).constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC,
                       0600)),
          m_replaced(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
    {
        const QByteArray directory = QFile::encodeName(workspace.path(u".tavvel"_s));
        if (m_log < 0 || ::inotify_add_watch(m_replaced, directory.constData(), IN_MOVED_TO) < 0)
            Report::giveUp("the log cannot be followed.");
    }

    ~Appender()
    {
        ::close(m_log);
        ::close(m_replaced);
    }

    Appender(const Appender &) = delete;
    Appender &operator=(const Appender &) = delete;

    Seconds append(const QByteArray &line)
    {
        return Report::timeOf([&] {
            if (::write(m_log, line.constData(), static_cast<size_t>(line.size())) != line.size())
                Report::giveUp("the log cannot be written.");
            while (!isReplaced()) {
                pollfd reports{.fd = m_replaced, .events = POLLIN, .revents = 0};
                if (::poll(&reports, 1, 10'000) == 0)
                    Report::giveUp("an event did not reach tasks.json.");
            }
        });
    }

private:
    [[nodiscard]] bool isReplaced() const
    {
        alignas(inotify_event) char buffer[4096];
        bool result = false;
        for (ssize_t length; (length = ::read(m_replaced, buffer, sizeof buffer)) > 0;) {
            for (const char *at = buffer; at < buffer + length;) {
                const auto *event = reinterpret_cast<const inotify_event *>(at);
                result = result || std::string_view(event->name) == "tasks.json";
                at += sizeof(inotify_event) + event->len;
            }
        }
        return result;
    }

    int m_log;
    int m_replaced;
};

} // namespace

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QByteArray tasks = TaskFile::encode(SampleBoard::lines(200, now));
    const Workspace ourHome;
    const Workspace bareHome;
    ourHome.write(ourHome.tasksFile(), tasks);
    Appender toOurs(ourHome);
    Appender toBare(bareHome);
    Child program({BENCH_PLUMTIDE}, ourHome.variables());
    Child bareLoop({BENCH_BARE_LOOP, QFile::encodeName(bareHome.logFile()), QFile::encodeName(bareHome.tasksFile()),
                    QByteArray::number(tasks.size())},
                   bareHome.variables());
    std::this_thread::sleep_for(2s); // both have started, and the program does not attach to the log by its poll

    const int rounds = isQuick ? 100 : 600;
    constexpr auto pause = 20ms; // longer than either needs
    QList<Seconds> ours;
    QList<Seconds> bare;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray tool = round % 2 != 0 ? QByteArray("Bash") : QByteArray("Edit");
        const auto time = static_cast<double>(now.toSecsSinceEpoch());
        const QByteArray line = EventMix::toolLine((round * 37) % 200, tool, time);
        ours.append(toOurs.append(line));
        std::this_thread::sleep_for(pause);
        bare.append(toBare.append(line));
        std::this_thread::sleep_for(pause);
    }
    Report::printTimes("one logged event to the replaced `tasks.json` of 200 lines ("
                           + QByteArray::number(tasks.size() / 1000) + " kB)",
                       ours, "a bare loop", bare, Report::Limit::AtMost, 3);
    return Report::exitStatus();
}
