#include "bench/support/Absence.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

using namespace std::chrono_literals;

Seconds Absence::longest(const std::function<void()> &start, const std::function<bool()> &isOver)
{
    QElapsedTimer sinceTick;
    qint64 longest = 0;
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    QObject::connect(&probe, &QTimer::timeout, [&] {
        longest = std::max(longest, sinceTick.nsecsElapsed());
        sinceTick.start();
    });
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, [&] {
        if (isOver())
            QCoreApplication::quit();
    });
    sinceTick.start();
    start();
    probe.start(1ms);
    look.start(100ms);
    QCoreApplication::exec();
    return std::chrono::nanoseconds(longest);
}

Seconds Absence::whileIdle(Seconds length)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    return longest([] {}, [&] { return Seconds(std::chrono::nanoseconds(sinceStart.nsecsElapsed())) > length; });
}
