// How long does a start with a full events log take, what does it cost in memory, and does the main thread stay free
// for its user meanwhile?

#include "Plumtide/store/TaskStore.h"
#include "bench/support/Absence.h"
#include "bench/support/Child.h"
#include "bench/support/EventMix.h"
#include "bench/support/RawFile.h"
#include "bench/support/Report.h"
#include "bench/support/Workspace.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qsizetype logBytes = 10'000'000;
constexpr int sessions = 200;
constexpr Seconds patience = 120s;

QList<QByteArray> backlog()
{
    // Ended just now, so that no sweep finds anything to close.
    EventMix mix(sessions, static_cast<double>(QDateTime::currentSecsSinceEpoch() - 3600), 3600.0 / 24'000);
    QList<QByteArray> lines;
    for (qsizetype size = 0; size < logBytes; size += lines.last().size())
        lines.append(mix.next());
    return lines;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// What the backlog must lead to, and how large each file was on the way.
struct Expectation
{
    QByteArray tasks;
    QList<qsizetype> sizes;
};

// Each change that is published is one save; the seen flags, which are published too, are set beforehand.
Expectation replay(const QList<QByteArray> &lines)
{
    const Workspace workspace;
    Environment environment = workspace.environment();
    environment.defaults.setBoolean(u"tavvel.claude.hasSeenEvent"_s, true);
    environment.defaults.setBoolean(u"tavvel.codex.hasSeenEvent"_s, true);
    TaskStore store(environment);
    Expectation result;
    bool hasChanged = false;
    QObject::connect(&store, &TaskStore::objectWillChange, [&hasChanged] { hasChanged = true; });
    for (const QByteArray &line : lines) {
        hasChanged = false;
        const std::optional<HookEvent> event = HookEvent::decode(QByteArrayView(line).chopped(1));
        if (!event)
            Report::giveUp("an event of the backlog does not decode.");
        store.apply(*event);
        if (hasChanged)
            result.sizes.append(static_cast<qsizetype>(QFileInfo(workspace.tasksFile()).size()));
        QCoreApplication::processEvents();
    }
    result.tasks = contentOf(workspace.tasksFile());
    return result;
}

bool isDone(const Workspace &workspace, const QByteArray &expected)
{
    const QString path = workspace.tasksFile();
    return QFileInfo(path).size() == expected.size() && contentOf(path) == expected;
}

struct Run
{
    Seconds time;
    qint64 peakBytes = 0;
};

// The real program in a home of its own.
Run runProgram(const QByteArray &log, const QByteArray &expected)
{
    const Workspace workspace;
    workspace.write(workspace.logFile(), log);
    workspace.settleDisk();
    const auto begin = std::chrono::steady_clock::now();
    Child program({BENCH_PLUMTIDE}, workspace.variables());
    while (!isDone(workspace, expected)) {
        if (std::chrono::steady_clock::now() - begin > patience)
            Report::giveUp("the program did not work through the backlog.");
        std::this_thread::sleep_for(2ms);
    }
    Run run{.time = std::chrono::steady_clock::now() - begin, .peakBytes = program.statusBytes("VmHWM")};
    program.terminate();
    program.wait();
    if (!isDone(workspace, expected))
        Report::giveUp("the program changed the board after the backlog.");
    return run;
}

qint64 idleBytes()
{
    const Workspace workspace;
    Child program({BENCH_PLUMTIDE}, workspace.variables());
    std::this_thread::sleep_for(2s);
    return program.statusBytes("VmRSS");
}

struct RawRun
{
    Seconds time;
    Seconds longestWrite = {};
};

RawRun runRaw(const QList<qsizetype> &sizes)
{
    const Workspace workspace;
    const QByteArray path = QFile::encodeName(workspace.tasksFile());
    const QByteArray content(*std::max_element(sizes.begin(), sizes.end()), 'x');
    workspace.settleDisk();
    RawRun run;
    run.time = Report::timeOf([&] {
        for (qsizetype size : sizes)
            run.longestWrite =
                std::max(run.longestWrite, Report::timeOf([&] { RawFile::replace(path, content, size); }));
    });
    return run;
}

// The store in this program's own event loop, as the real program runs it, from before it is constructed.
Seconds absenceInCatchUp(const QByteArray &log, const QByteArray &expected)
{
    const Workspace workspace;
    workspace.write(workspace.logFile(), log);
    workspace.settleDisk();
    Environment environment = workspace.environment();
    std::unique_ptr<TaskStore> store;
    QElapsedTimer sinceStart;
    sinceStart.start();
    return Absence::longest([&] { store = std::make_unique<TaskStore>(environment); },
                            [&] {
                                if (Seconds(std::chrono::nanoseconds(sinceStart.nsecsElapsed())) > patience)
                                    Report::giveUp("the store did not work through the backlog.");
                                return isDone(workspace, expected);
                            });
}

} // namespace

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    QCoreApplication application(argc, argv);
    const QList<QByteArray> lines = backlog();
    const QByteArray log = lines.join();
    const Expectation expectation = replay(lines);
    const int rounds = isQuick ? 2 : 5;

    QList<Seconds> ours;
    QList<Seconds> raw;
    QList<Seconds> absences;
    Seconds longestRawWrite = {};
    qint64 peak = 0;
    for (int round = 0; round < rounds; ++round) {
        const Run run = runProgram(log, expectation.tasks);
        ours.append(run.time);
        peak = std::max(peak, run.peakBytes);
        const RawRun rawRun = runRaw(expectation.sizes);
        raw.append(rawRun.time);
        longestRawWrite = std::max(longestRawWrite, rawRun.longestWrite);
        absences.append(absenceInCatchUp(log, expectation.tasks));
    }
    Report::printTimes("backlog of " + Report::megabytesText(static_cast<double>(log.size())) + ", "
                           + QByteArray::number(lines.size()) + " events of " + QByteArray::number(sessions)
                           + " sessions: from the start to the final `tasks.json`",
                       ours, "its " + QByteArray::number(expectation.sizes.size()) + " writes + renames", raw,
                       Report::Limit::AtMost, 1.5);

    const Seconds absence = *std::max_element(absences.begin(), absences.end());
    const Seconds idleAbsence = Absence::whileIdle(Report::median(ours));
    const Seconds unavoidable = std::max(longestRawWrite, idleAbsence);
    Report::print({
        .what = "the same: longest absence of the main thread from its event loop, worst of "
            + QByteArray::number(rounds) + " runs (median " + Report::timeText(Report::median(absences)) + ")",
        .ours = Report::timeText(absence),
        .floor = "one write + rename: " + Report::timeText(longestRawWrite)
            + ", an idle loop: " + Report::timeText(idleAbsence),
        .ratio = Report::ratioText(absence / unavoidable),
        .reach = "50 ms or less",
        .isWithinReach = absence <= 50ms,
    });

    const auto idle = static_cast<double>(idleBytes());
    const double added = static_cast<double>(peak) - idle;
    Report::print({
        .what = "the same: peak memory above idle",
        .ours = Report::megabytesText(added),
        .floor = "idle: " + Report::megabytesText(idle),
        .ratio = Report::ratioText(added / idle),
        .reach = "under 64 MB",
        .isWithinReach = added < 64.0 * 1024 * 1024,
    });
    return Report::exitStatus();
}
