// What does the panel cost: an event while it is open, opening it, and a long catch-up under the user's eyes?

#include "Plumtide/app/PanelWindow.h"
#include "Plumtide/desktop/Display.h"
#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskFile.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/PanelView.h"
#include "bench/support/Absence.h"
#include "bench/support/Board.h"
#include "bench/support/Child.h"
#include "bench/support/EventMix.h"
#include "bench/support/Workspace.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QTimer>

#include <algorithm>
#include <cstdlib>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct Size
{
    int lines;
    int projects;
    QByteArray text;
};
const Size small{12, 3, "12 lines in 3 projects"};
const Size full{300, 40, "300 lines in 40 projects"};
const Size huge{3000, 400, "3,000 lines in 400 projects"};
constexpr int catchUpEvents = 20'000;

std::unique_ptr<QApplication> makeApplication(int argc, char **argv)
{
    static int count = argc;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    qputenv("QT_LOGGING_RULES", "*.warning=false"); // of what the platform "offscreen" lacks
    ignoreDesktopTheme();
    QApplication::setStyle(u"Fusion"_s);
    auto application = std::make_unique<QApplication>(count, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return application;
}

/// A home with a full board, both tools connected, and what the program makes of it.
struct Scene
{
    explicit Scene(const Size &size)
    {
        workspace.write(workspace.path(u".claude/settings.json"_s), R"({"hooks":"tavvel-hook.sh"})");
        workspace.write(workspace.path(u".codex/config.toml"_s), "notify = [\"codex-notify.sh\"]\n");
        workspace.write(
            workspace.tasksFile(),
            TaskFile::encode(SampleBoard::lines(size.lines, QDateTime::currentDateTimeUtc(), size.projects)));
        environment.defaults.setBoolean(u"tavvel.claude.hasSeenEvent"_s, true);
        store = std::make_unique<TaskStore>(environment);
        installer = std::make_unique<HooksInstaller>(environment);
        if (store->tasks().size() != size.lines || !installer->claudeInstalled() || !installer->codexInstalled())
            Report::giveUp("the board is not the one to be shown.");
    }

    [[nodiscard]] std::unique_ptr<PanelWindow> makePanel() const
    {
        auto *view = new PanelView(*store, *installer, environment.clock);
        auto window = std::make_unique<PanelWindow>(view);
        QObject::connect(window.get(), &PanelWindow::opened, view, [view] { view->setFocus(Qt::OtherFocusReason); });
        return window;
    }

    void callTool(qsizetype line) const
    {
        static bool isEven = false;
        isEven = !isEven; // so that the text changes, too
        store->apply({.sessionId = SampleBoard::sessionId(line),
                      .hookEventName = u"PostToolUse"_s,
                      .cwd = {},
                      .toolName = isEven ? u"Edit"_s : u"Bash"_s,
                      .prompt = {},
                      .assistant = {},
                      .toolInput = {},
                      .tavvelTs = static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000});
    }

    const Workspace workspace;
    Environment environment = workspace.environment();
    std::unique_ptr<TaskStore> store;
    std::unique_ptr<HooksInstaller> installer;
};

void wait(std::chrono::milliseconds time)
{
    QEventLoop loop;
    QTimer::singleShot(time, &loop, &QEventLoop::quit);
    loop.exec();
}

/// The processor time of `work` and of all that follows from it on the event loop, a painted window among it.
Seconds timeToPaint(const std::function<void()> &work)
{
    struct PaintCounter final : QObject
    {
        bool eventFilter(QObject * /*watched*/, QEvent *event) override
        {
            count += event->type() == QEvent::Paint ? 1 : 0;
            return false;
        }
        int count = 0;
    } paints;
    const Seconds time = Report::processorTimeOf([&] {
        work();
        qApp->installEventFilter(&paints);
        wait(50ms); // three frames
    });
    if (paints.count == 0)
        Report::giveUp("nothing was painted.");
    return time;
}

/// An open panel without its window, which closes when another one gets the focus; at the row that changes.
struct OpenPanel
{
    explicit OpenPanel(const Size &size)
        : scene(size), panel(std::make_unique<PanelView>(*scene.store, *scene.installer, scene.environment.clock))
    {
        scene.callTool(0);
        panel->show();
        panel->showLine(u"cc-"_s + EventMix::sessionId(0));
        wait(50ms);
    }

    /// What the store does for an event is not the panel's doing; it is the same while the panel is closed.
    Seconds timeToRefresh() const
    {
        Seconds applying{};
        return timeToPaint([&] { applying = Report::processorTimeOf([&] { scene.callTool(0); }); }) - applying;
    }

    const Scene scene;
    const std::unique_ptr<PanelView> panel;
};

void measureEvents(int rounds)
{
    QMap<int, QList<Seconds>> times;
    const OpenPanel panels[] = {OpenPanel(small), OpenPanel(full), OpenPanel(huge)};
    for (int round = 0; round < rounds; ++round) {
        for (int i = 0; i < 3; ++i)
            times[i].append(panels[i].timeToRefresh());
    }
    Report::printTimes("refresh of the open panel after an event, " + full.text
                           + ": processor time until it is painted, without the store's",
                       times[1], "the same, " + small.text, times[0], Report::Limit::AtMost, 1.3);
    Report::printTimes("the same, " + huge.text, times[2], "the same, " + full.text, times[1], Report::Limit::AtMost,
                       1.2);
}

std::unique_ptr<QLabel> makePlainWindow()
{
    auto window = std::make_unique<QLabel>(u"登录页的报错改成中文"_s);
    window->setFixedSize(PanelView::fixedSize);
    return window;
}

/// What `work` measured, three numbers at most, in a process that has done nothing before. No other thread may run
/// here.
QList<double> inNewProcess(const std::function<QList<double>()> &work)
{
    int ends[2];
    if (::pipe(ends) != 0)
        Report::giveUp("no pipe.");
    const pid_t child = ::fork();
    double numbers[3] = {};
    if (child == 0) {
        std::ranges::copy(work(), numbers);
        ::_exit(::write(ends[1], numbers, sizeof numbers) == sizeof numbers ? 0 : 1);
    }
    ::close(ends[1]);
    const bool isRead = ::read(ends[0], numbers, sizeof numbers) == sizeof numbers;
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    if (!isRead)
        Report::giveUp("the panel was not opened.");
    return QList<double>(numbers, numbers + 3);
}

double allocatedBytes()
{
    const auto info = ::mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// The seconds of the first opening, those of a later one after an event, and the bytes that are allocated after the
/// first and were not before it. In a process that has done nothing before.
QList<double> openAndOpenAgain(const Size &size, int argc, char **argv)
{
    const auto application = makeApplication(argc, argv);
    const auto *scene = new Scene(size); // never ended: the process is
    const double before = allocatedBytes();
    PanelWindow *panel = nullptr;
    const Seconds first = timeToPaint([&] {
        panel = scene->makePanel().release();
        panel->toggle(QRect(700, 10, 1, 1));
    });
    panel->hide();
    const double taken = allocatedBytes() - before;
    scene->callTool(3);
    const Seconds later = timeToPaint([&] { panel->toggle(QRect(700, 10, 1, 1)); });
    return {first.count(), later.count(), taken};
}

void measureOpenings(int rounds, int argc, char **argv)
{
    QList<Seconds> plain;
    QMap<int, QList<Seconds>> first;
    QList<Seconds> later;
    QList<Seconds> twice;
    QList<double> bytes[2];
    for (int round = 0; round < rounds; ++round) {
        plain.append(Seconds(inNewProcess([&] {
            const auto application = makeApplication(argc, argv);
            return QList<double>{timeToPaint([] { makePlainWindow().release()->show(); }).count()};
        })[0]));
        for (int i = 0; i < 2; ++i) {
            const QList<double> run = inNewProcess([&] { return openAndOpenAgain(i == 0 ? full : huge, argc, argv); });
            first[i].append(Seconds(run[0]));
            bytes[i].append(run[2]);
            if (i == 0)
                later.append(Seconds(run[1]));
        }
        twice.append(Seconds(inNewProcess([&] {
            qputenv("QT_SCALE_FACTOR", "2");
            return openAndOpenAgain(full, argc, argv);
        })[0]));
    }
    Report::printTimes("from the click on the tray item to the painted panel, " + full.text
                           + ": processor time of the first opening in a process",
                       first[0], "a window with one line of text", plain, Report::Limit::AtMost, 1.8);
    Report::printTimes("the same, " + huge.text, first[1], full.text, first[0], Report::Limit::AtMost, 1.2);
    Report::printTimes("the same at scale 2", twice, "at scale 1", first[0], Report::Limit::AtMost, 1.5);
    Report::printTimes("the same, opened again after an event", later, "first opening", first[0], Report::Limit::AtMost,
                       0.125);
    std::ranges::sort(bytes[0]);
    std::ranges::sort(bytes[1]);
    const double each = (bytes[1][rounds / 2] - bytes[0][rounds / 2]) / (huge.lines - full.lines);
    Report::print({.what = "memory that is allocated after the panel was opened and closed, for each further line",
                   .ours = Report::megabytesText(bytes[1][rounds / 2]) + " with " + huge.text,
                   .floor = Report::megabytesText(bytes[0][rounds / 2]) + " with " + full.text,
                   .ratio = QByteArray::number(each / 1024, 'f', 1) + " KiB a line",
                   .reach = "1 KiB or less",
                   .isWithinReach = each <= 1024});
}

QByteArray catchUpLog()
{
    EventMix mix(full.lines, static_cast<double>(QDateTime::currentSecsSinceEpoch() - 600), 600.0 / catchUpEvents);
    QByteArray log;
    for (int i = 0; i < catchUpEvents; ++i)
        log += mix.next();
    return log + R"({"session_id":"end","hook_event_name":"UserPromptSubmit","cwd":"/home/user/projects/end"})" + '\n';
}

QByteArray loadText()
{
    double load = 0;
    (void)::getloadavg(&load, 1);
    return QByteArray::number(load, 'f', 1);
}

struct CatchUp
{
    Seconds absence;
    qint64 peakGrowth = 0;
    qint64 lastingGrowth = 0;
};

CatchUp runCatchUp(const QByteArray &log)
{
    const Scene scene(full);
    const std::unique_ptr<PanelWindow> panel = scene.makePanel();
    (void)timeToPaint([&] { panel->open(); });
    QFile reset(u"/proc/self/clear_refs"_s);
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1) // VmHWM begins again
        Report::giveUp("no peak of the memory.");
    reset.close();
    const qint64 before = Child::ownStatusBytes("VmRSS");
    QElapsedTimer sinceStart;
    sinceStart.start();
    CatchUp result;
    result.absence = Absence::longest([&] { scene.workspace.write(scene.workspace.logFile(), log); },
                                      [&] {
                                          if (sinceStart.elapsed() > 120'000)
                                              Report::giveUp("the store did not catch up.");
                                          return scene.store->tasks().last().id == u"cc-end"_s;
                                      });
    result.peakGrowth = Child::ownStatusBytes("VmHWM") - before;
    result.lastingGrowth = Child::ownStatusBytes("VmRSS") - before;
    return result;
}

void measureCatchUp(int rounds)
{
    const QByteArray log = catchUpLog();
    Seconds absence = {};
    qint64 peakGrowth = 0;
    qint64 lastingGrowth = 0;
    for (int round = 0; round < rounds; ++round) {
        const CatchUp run = runCatchUp(log);
        absence = std::max(absence, run.absence);
        peakGrowth = std::max(peakGrowth, run.peakGrowth);
        lastingGrowth = std::max(lastingGrowth, run.lastingGrowth);
    }
    const Seconds idle = Absence::whileIdle(5s);
    Report::print({
        .what = "catch-up of 20,000 events with the panel open, " + full.text
            + ": longest absence of the main thread from its event loop, worst of " + QByteArray::number(rounds),
        .ours = Report::timeText(absence) + ", load " + loadText(),
        .floor = "an idle loop: " + Report::timeText(idle),
        .ratio = Report::ratioText(absence / idle),
        .reach = "50 ms or less",
        .isWithinReach = absence <= 50ms,
    });
    const qint64 most = 64 * 1024 * 1024;
    Report::print({
        .what = "the same: peak memory above that of the open panel (afterwards "
            + Report::megabytesText(static_cast<double>(lastingGrowth)) + ")",
        .ours = Report::megabytesText(static_cast<double>(peakGrowth)),
        .floor = "its log: " + Report::megabytesText(static_cast<double>(log.size())),
        .ratio = Report::ratioText(static_cast<double>(peakGrowth) / static_cast<double>(log.size())),
        .reach = "under 64 MB",
        .isWithinReach = peakGrowth < most,
    });
}

} // namespace

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    measureOpenings(isQuick ? 5 : 15, argc, argv);
    const auto application = makeApplication(argc, argv);
    measureEvents(isQuick ? 10 : 40);
    measureCatchUp(isQuick ? 1 : 3);
    return Report::exitStatus();
}
