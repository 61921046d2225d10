// How often does the program wake the machine while nothing happens?

#include "Plumtide/store/TaskFile.h"
#include "bench/support/Board.h"
#include "bench/support/Child.h"
#include "bench/support/Desktop.h"

#include <QCoreApplication>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

qint64 switchesToTheEnd(Child &program)
{
    program.terminate();
    return program.wait().ru_nvcsw;
}

QByteArray perSecondText(double rate)
{
    return QByteArray::number(rate, 'f', 3) + " /s";
}

/// Counts the switches of a program between two moments.
/// /proc knows the threads that are alive, and the program saves on a thread that soon ends. The switches of such
/// threads are only in the sum at the end of the process; what it holds beyond the window is taken from a second
/// program of the same age that ends when the window begins.
class Watched
{
public:
    /// On a desktop its mini board is shown; without one, nothing.
    explicit Watched(const Desktop *desktop = nullptr)
        : m_shorterHome(filled(500)),
          m_home(filled(50)),
          m_shorter(std::make_unique<Child>(command(), variables(desktop, *m_shorterHome))),
          m_program(std::make_unique<Child>(command(), variables(desktop, *m_home)))
    {
    }

    void begin()
    {
        m_writtenBefore = m_program->writtenBytes();
        m_before = m_program->voluntarySwitches();
        const qint64 shorterBefore = m_shorter->voluntarySwitches();
        m_outside = switchesToTheEnd(*m_shorter) - shorterBefore;
    }

    void end()
    {
        m_alive = m_program->voluntarySwitches() - m_before;
        m_written = m_program->writtenBytes() - m_writtenBefore;
        m_all = std::max(m_alive, switchesToTheEnd(*m_program) - m_before - m_outside);
    }

    void print(const QByteArray &what, Seconds window, const QByteArray &floorName, qint64 floor, double reach) const
    {
        const double rate = static_cast<double>(m_all) / window.count();
        const double floorRate = static_cast<double>(floor) / window.count();
        Report::print({
            .what = what + ", over " + QByteArray::number(window.count()) + " s (of lasting threads alone "
                + perSecondText(static_cast<double>(m_alive) / window.count()) + "; " + QByteArray::number(m_written)
                + " bytes written)",
            .ours = perSecondText(rate),
            .floor = floorName + ": " + perSecondText(floorRate),
            .ratio = floor > 0 ? Report::ratioText(rate / floorRate) : QByteArray("–"),
            .reach = QByteArray::number(reach) + " /s or less, nothing written",
            .isWithinReach = rate <= reach && m_written == 0,
        });
    }

private:
    // `x` is the mini board's place in pixels. One that goes away must not uncover another.
    static std::unique_ptr<Workspace> filled(int x)
    {
        auto home = std::make_unique<Workspace>();
        home->write(home->tasksFile(), TaskFile::encode(SampleBoard::lines(200, QDateTime::currentDateTimeUtc())));
        home->write(home->logFile(), {});
        home->write(home->defaultsFile(),
                    "[General]\nminiBoardEnabled=true\nminiBoardOrigin=" + QByteArray::number(x) + ", 50\n");
        return home;
    }
    static std::vector<QByteArray> command() { return {BENCH_PLUMTIDE}; }
    static std::vector<QByteArray> variables(const Desktop *desktop, const Workspace &home)
    {
        return desktop ? desktop->variables(home) : home.variables();
    }

    std::unique_ptr<Workspace> m_shorterHome;
    std::unique_ptr<Workspace> m_home;
    std::unique_ptr<Child> m_shorter;
    std::unique_ptr<Child> m_program;
    qint64 m_before = 0;
    qint64 m_writtenBefore = 0;
    qint64 m_written = 0;
    qint64 m_outside = 0;
    qint64 m_alive = 0;
    qint64 m_all = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    const QCoreApplication application(argc, argv);
    // Settled: the threads of Qt's pool have ended (after 30 s), and in a full run also the first sweep, a minute
    // after the start, and the flush that follows it are over. The window of a full run holds two more of them, that
    // of a quick run none.
    const Seconds settling = isQuick ? 35s : 70s;
    const Seconds window = isQuick ? 20s : 120s;

    Desktop desktop;
    Watched windowless;
    Watched withMiniBoard(&desktop);
    const Workspace idleHome;
    const Workspace trayHome;
    Child idleLoop({BENCH_IDLE_LOOP}, idleHome.variables());
    Child tray({BENCH_TRAY_FLOOR}, desktop.variables(trayHome));
    Desktop::turn(settling);
    if (desktop.shownWindows().size() != 2 || desktop.tray().items().size() != 3)
        Report::giveUp("not every mini board is shown, or not every item is in the tray.");

    windowless.begin();
    withMiniBoard.begin();
    const qint64 idleBefore = idleLoop.voluntarySwitches();
    const qint64 trayBefore = tray.voluntarySwitches();
    Desktop::turn(window);
    const qint64 idle = idleLoop.voluntarySwitches() - idleBefore;
    const qint64 trayIdle = tray.voluntarySwitches() - trayBefore;
    windowless.end();
    withMiniBoard.end();
    windowless.print("wake-ups while idle, without a desktop", window, "an idle Qt program", idle, 0.25);
    withMiniBoard.print("wake-ups while idle in the tray, the mini board shown", window,
                        "a tray program that does nothing", trayIdle, 0.3);
    return Report::exitStatus();
}
