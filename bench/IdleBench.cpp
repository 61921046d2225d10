// How often does the program wake the machine while nothing happens?

#include "Plumtide/store/TaskFile.h"
#include "bench/support/Board.h"
#include "bench/support/Child.h"
#include "bench/support/Report.h"
#include "bench/support/Workspace.h"

#include <algorithm>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

void fill(const Workspace &workspace)
{
    workspace.write(workspace.tasksFile(), TaskFile::encode(Board::lines(200, QDateTime::currentDateTimeUtc())));
    workspace.write(workspace.logFile(), {});
}

qint64 switchesToTheEnd(Child &program)
{
    program.terminate();
    return program.wait().ru_nvcsw;
}

QByteArray perSecondText(double rate)
{
    return QByteArray::number(rate, 'f', 3) + " /s";
}

} // namespace

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    // Settled: the first sweep, a minute after the start, and the flush that follows it are over. The window of a
    // full run holds two more of them, that of a quick run none.
    const Seconds settling = isQuick ? 10s : 70s;
    const Seconds window = isQuick ? 30s : 120s;

    // /proc knows the threads that are alive, and the program saves on a thread that soon ends. The switches of
    // such threads are only in the sum at the end of the process; what it holds beyond the window is taken from a
    // second program of the same age that ends when the window begins.
    const Workspace home;
    const Workspace shorterHome;
    const Workspace idleHome;
    fill(home);
    fill(shorterHome);
    Child program({BENCH_PLUMTIDE}, home.variables());
    Child shorter({BENCH_PLUMTIDE}, shorterHome.variables());
    Child idleLoop({BENCH_IDLE_LOOP}, idleHome.variables());
    std::this_thread::sleep_for(settling);

    const qint64 before = program.voluntarySwitches();
    const qint64 idleBefore = idleLoop.voluntarySwitches();
    const qint64 shorterBefore = shorter.voluntarySwitches();
    const qint64 outside = switchesToTheEnd(shorter) - shorterBefore;
    std::this_thread::sleep_for(window);
    const qint64 alive = program.voluntarySwitches() - before;
    const qint64 idle = idleLoop.voluntarySwitches() - idleBefore;
    const qint64 all = switchesToTheEnd(program) - before - outside;

    const double rate = static_cast<double>(std::max(alive, all)) / window.count();
    const double idleRate = static_cast<double>(idle) / window.count();
    Report::print({
        .what = "wake-ups while idle, over " + QByteArray::number(window.count()) + " s (of lasting threads alone "
            + perSecondText(static_cast<double>(alive) / window.count()) + ")",
        .ours = perSecondText(rate),
        .floor = "an idle Qt program: " + perSecondText(idleRate),
        .ratio = idleRate > 0 ? Report::ratioText(rate / idleRate) : QByteArray("–"),
        .reach = "0.3 /s or less",
        .isWithinReach = rate <= 0.3,
    });
    return Report::exitStatus();
}
