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
#include <QScrollArea>
#include <QTimer>

#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int lineCount = 300;
constexpr int projectCount = 40;
constexpr int catchUpEvents = 20'000;
const QByteArray boardText = "300 lines in 40 projects";

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
    Scene()
    {
        workspace.write(workspace.path(u".claude/settings.json"_s), R"({"hooks":"tavvel-hook.sh"})");
        workspace.write(workspace.path(u".codex/config.toml"_s), "notify = [\"codex-notify.sh\"]\n");
        workspace.write(workspace.tasksFile(),
                        TaskFile::encode(SampleBoard::lines(lineCount, QDateTime::currentDateTimeUtc(), projectCount)));
        environment.defaults->setBoolean(u"tavvel.claude.hasSeenEvent"_s, true);
        store = std::make_unique<TaskStore>(environment);
        installer = std::make_unique<HooksInstaller>(environment);
        if (store->tasks().size() != lineCount || !installer->claudeInstalled() || !installer->codexInstalled())
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
    const Environment environment = workspace.environment();
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

void measureEvents(int rounds)
{
    const Scene scene;
    // Without their window, which closes when another one gets the focus.
    const auto makeView = [&] {
        return std::make_unique<PanelView>(*scene.store, *scene.installer, scene.environment.clock);
    };
    const std::unique_ptr<PanelView> panel = makeView();
    scene.callTool(0); // its project is the newest from now on
    panel->show();
    const QString newest = u"row[%1]"_s.arg(scene.store->tasks().first().id);
    const auto showNewest = [&] { // what changes is to be seen
        panel->findChild<QScrollArea *>()->ensureWidgetVisible(panel->findChild<QWidget *>(newest));
        QCoreApplication::processEvents();
    };
    QList<Seconds> staying;
    QList<Seconds> moving;
    QList<Seconds> building;
    QList<Seconds> stored;
    // What the store does for an event is not the panel's doing; it is the same while the panel is closed.
    const auto refreshAfter = [&](qsizetype line) {
        showNewest();
        Seconds applying{};
        const Seconds all = timeToPaint([&] { applying = Report::processorTimeOf([&] { scene.callTool(line); }); });
        stored.append(applying);
        return all - applying;
    };
    for (int round = 0; round < rounds; ++round) {
        staying.append(refreshAfter(0));
        std::unique_ptr<PanelView> other;
        building.append(timeToPaint([&] {
            other = makeView();
            other->show();
        }));
        other.reset();
        moving.append(refreshAfter(3 * (1 + round % 99))); // all of these lines run
        scene.callTool(0);
        wait(50ms);
    }
    Report::printTimes("refresh of the open panel after an event, " + boardText
                           + ": processor time until it is painted (before that, the store takes "
                           + Report::timeText(Report::median(stored)) + ", saving included)",
                       staying, "building and painting the panel", building, Report::Limit::AtMost, 0.05);
    Report::printTimes("the same, when its project comes up from further down", moving,
                       "building and painting the panel", building, Report::Limit::None, 0);
}

std::unique_ptr<QLabel> makePlainWindow()
{
    auto window = std::make_unique<QLabel>(u"登录页的报错改成中文"_s);
    window->setFixedSize(PanelWindow::panelSize);
    return window;
}

/// The result of `work` in a process that has done nothing before. No other thread may run here.
Seconds inNewProcess(const std::function<Seconds()> &work)
{
    int ends[2];
    if (::pipe(ends) != 0)
        Report::giveUp("no pipe.");
    const pid_t child = ::fork();
    if (child == 0) {
        const double seconds = work().count();
        ::_exit(::write(ends[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
    }
    ::close(ends[1]);
    double seconds = 0;
    const bool isRead = ::read(ends[0], &seconds, sizeof seconds) == sizeof seconds;
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    if (!isRead)
        Report::giveUp("the panel was not opened.");
    return Seconds(seconds);
}

void printOpening(const QByteArray &what, const QList<Seconds> &ours, const QList<Seconds> &floor)
{
    Report::print({
        .what = what,
        .ours = Report::timeText(Report::median(ours)),
        .floor = "a window with one line of text: " + Report::timeText(Report::median(floor)),
        .ratio = Report::ratioText(Report::median(ours) / Report::median(floor)),
        .reach = "16 ms or less",
        .isWithinReach = Report::median(ours) <= 16ms,
    });
}

void measureFirstOpening(int rounds, int argc, char **argv)
{
    QList<Seconds> ours;
    QList<Seconds> floor;
    for (int round = 0; round < rounds; ++round) {
        ours.append(inNewProcess([&] {
            const auto application = makeApplication(argc, argv);
            const auto *scene = new Scene; // never ended: the process is
            std::unique_ptr<PanelWindow> panel;
            return timeToPaint([&] {
                panel = scene->makePanel();
                panel.release()->toggle(QPoint(700, 10));
            });
        }));
        floor.append(inNewProcess([&] {
            const auto application = makeApplication(argc, argv);
            return timeToPaint([] { makePlainWindow().release()->show(); });
        }));
    }
    printOpening("from the click on the tray item to the painted panel, " + boardText
                     + ": processor time of the first opening in a process",
                 ours, floor);
}

void measureLaterOpening(int rounds)
{
    const Scene scene;
    const std::unique_ptr<PanelWindow> panel = scene.makePanel();
    const std::unique_ptr<QLabel> plain = makePlainWindow();
    QList<Seconds> ours;
    QList<Seconds> floor;
    for (int round = 0; round <= rounds; ++round) {
        const Seconds time = timeToPaint([&] { panel->toggle(QPoint(700, 10)); });
        panel->hide(); // first, since another window would close it, and keep it closed for a moment
        const Seconds plainTime = timeToPaint([&] { plain->show(); });
        plain->hide();
        scene.callTool(3 * (round % 100));
        if (round > 0) { // the first one builds
            ours.append(time);
            floor.append(plainTime);
        }
    }
    printOpening("the same, opened again after an event", ours, floor);
}

QByteArray catchUpLog()
{
    EventMix mix(lineCount, static_cast<double>(QDateTime::currentSecsSinceEpoch() - 600), 600.0 / catchUpEvents);
    QByteArray log;
    for (int i = 0; i < catchUpEvents; ++i)
        log += mix.next();
    return log + R"({"session_id":"end","hook_event_name":"UserPromptSubmit","cwd":"/home/user/projects/end"})" + '\n';
}

struct CatchUp
{
    Seconds absence;
    qint64 peakGrowth = 0;
    qint64 lastingGrowth = 0;
};

CatchUp runCatchUp(const QByteArray &log)
{
    const Scene scene;
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
                                          return scene.store->tasks().last().id == u"cc-end"_s
                                              && panel->findChild<QWidget *>(u"row[cc-end]"_s);
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
        .what = "catch-up of 20,000 events with the panel open, " + boardText
            + ": longest absence of the main thread from its event loop, worst of " + QByteArray::number(rounds),
        .ours = Report::timeText(absence),
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
    measureFirstOpening(isQuick ? 5 : 15, argc, argv);
    const auto application = makeApplication(argc, argv);
    measureLaterOpening(isQuick ? 10 : 40);
    measureEvents(isQuick ? 10 : 40);
    measureCatchUp(isQuick ? 1 : 3);
    return Report::exitStatus();
}
