// What does the program take of a desktop: memory, and time until its item is in the tray?

#include "Plumtide/store/TaskFile.h"
#include "bench/support/Board.h"
#include "bench/support/Child.h"
#include "bench/support/Desktop.h"

#include <QCoreApplication>
#include <QFile>
#include <QLibraryInfo>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr QSize panelSize{400, 560};

void fill(const Workspace &home)
{
    home.write(home.tasksFile(), TaskFile::encode(SampleBoard::lines(200, QDateTime::currentDateTimeUtc())));
}

void end(Child &program)
{
    program.terminate();
    program.wait();
}

/// One program on the desktop, from its start on; returns once its item is in the tray.
struct Run
{
    Run(Desktop &desktop, const QByteArray &command, const std::vector<QByteArray> &more = {})
    {
        fill(home);
        variables = desktop.variables(home);
        variables.insert(variables.end(), more.begin(), more.end());
        home.settleDisk();
        const qsizetype before = desktop.tray().items().size();
        const auto begin = std::chrono::steady_clock::now();
        program = std::make_unique<Child>(std::vector{command}, variables);
        Desktop::turnUntil([&] { return desktop.tray().items().size() > before; }, command + " has no tray item.");
        toRegistration = desktop.tray().lastRegistration() - begin;
    }

    const Workspace home;
    std::vector<QByteArray> variables;
    std::unique_ptr<Child> program;
    Seconds toRegistration = {};
};

Seconds timeToItem(Desktop &desktop, const QByteArray &command)
{
    const Run run(desktop, command);
    Desktop::turn(200ms); // asked to end while it starts, it might end in another way
    end(*run.program);
    return run.toRegistration;
}

/// What is in no file: pages of files the kernel takes back when it needs them.
double settledMemory(const Run &run, std::chrono::milliseconds settling = 3s)
{
    Desktop::turn(settling);
    return static_cast<double>(run.program->proportionalBytes("Pss_Anon"));
}

double floorMemory(Desktop &desktop)
{
    const Run run(desktop, BENCH_TRAY_FLOOR);
    const double bytes = settledMemory(run);
    end(*run.program);
    return bytes;
}

/// The panel is opened by a second start and closed by a click.
struct Memory
{
    double before = 0;
    double after = 0;
};

Memory panelMemory(Desktop &desktop, const std::vector<QByteArray> &more = {})
{
    const Run run(desktop, BENCH_PLUMTIDE, more);
    const double before = settledMemory(run);
    const auto isOpen = [&] { return desktop.shownWindows().contains(panelSize); };
    Child(std::vector<QByteArray>{BENCH_PLUMTIDE}, run.variables).wait();
    Desktop::turnUntil(isOpen, "the panel does not open.");
    Desktop::turn(1s);
    desktop.tray().click(desktop.tray().items().last());
    Desktop::turnUntil([&] { return !isOpen(); }, "the panel does not close.");
    const double after = settledMemory(run, 8s); // it gives memory back after five
    end(*run.program);
    return {before, after};
}

void printMemory(const QByteArray &what, const QList<double> &ours, const QByteArray &floorName,
                 const QList<double> &floor, double most)
{
    QList<double> ratios;
    for (qsizetype round = 0; round < ours.size(); ++round)
        ratios.append(ours.at(round) / floor.at(round));
    const double ratio = Report::quantile(ratios, 0.5);
    Report::print({
        .what = what,
        .ours = Report::megabytesText(Report::quantile(ours, 0.5)),
        .floor = floorName + ": " + Report::megabytesText(Report::quantile(floor, 0.5)),
        .ratio = Report::ratioText(ratio),
        .reach = QByteArray::number(most) + " x or less",
        .isWithinReach = ratio <= most,
    });
}

} // namespace

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    const QCoreApplication application(argc, argv);
    if (!QFile::exists(QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platformthemes/libqgtk3.so"_s))
        Report::giveUp("no GTK theme for Qt, so nothing to be kept out: install qt6-gtk-platformtheme.");
    Desktop desktop;
    const QByteArray floorName = "a tray program that does nothing";

    QList<Seconds> ours;
    QList<Seconds> floor;
    for (int round = 0; round < (isQuick ? 7 : 25); ++round) {
        ours.append(timeToItem(desktop, BENCH_PLUMTIDE));
        floor.append(timeToItem(desktop, BENCH_TRAY_FLOOR));
    }
    Report::printTimes("from the start to the item in the tray, 200 lines", ours, floorName, floor,
                       Report::Limit::AtMost, 1.3);

    QList<double> unopened;
    QList<double> bytes;
    QList<double> bytesOnXfce;
    QList<double> floorBytes;
    for (int round = 0; round < (isQuick ? 2 : 5); ++round) {
        const Memory run = panelMemory(desktop);
        unopened.append(run.before);
        bytes.append(run.after);
        bytesOnXfce.append(panelMemory(desktop, {"XDG_CURRENT_DESKTOP=XFCE", "DESKTOP_SESSION=xfce"}).after);
        floorBytes.append(floorMemory(desktop));
    }
    printMemory("memory in no file, 200 lines, after the panel was opened and closed (before that "
                    + Report::megabytesText(Report::quantile(unopened, 0.5)) + ")",
                bytes, floorName, floorBytes, 3.5);
    printMemory("the same where the desktop says that it is Xfce", bytesOnXfce, "where none says so", bytes, 1.02);
    return Report::exitStatus();
}
