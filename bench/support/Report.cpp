#include "bench/support/Report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <time.h>

namespace Report {

namespace {
bool anyReachMissed = false;
}

bool isQuick(int argc, char **argv)
{
    if (argc == 1)
        return false;
    if (argc == 2 && argv[1] == std::string_view("--quick"))
        return true;
    giveUp(QByteArray(argv[0]) + " takes no argument but --quick.");
}

void giveUp(const QByteArray &sentence)
{
    std::fflush(stdout);
    std::fprintf(stderr, "bench: %s\n", sentence.constData());
    std::_Exit(2); // QtDBus aborts a process that ends with a connection open
}

Seconds timeOf(const std::function<void()> &work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::steady_clock::now() - begin;
}

Seconds processorTimeOf(const std::function<void()> &work)
{
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    const auto begin = now();
    work();
    return now() - begin;
}

double quantile(QList<double> values, double part)
{
    if (values.isEmpty())
        giveUp("nothing was measured.");
    std::sort(values.begin(), values.end());
    const double place = part * static_cast<double>(values.size() - 1);
    const auto below = static_cast<qsizetype>(place);
    const double above = values.at(qMin(below + 1, values.size() - 1));
    return values.at(below) + (place - static_cast<double>(below)) * (above - values.at(below));
}

Seconds median(const QList<Seconds> &times)
{
    QList<double> values;
    for (Seconds time : times)
        values.append(time.count());
    return Seconds(quantile(std::move(values), 0.5));
}

QByteArray timeText(Seconds time)
{
    const double seconds = time.count();
    if (seconds < 1e-3)
        return QByteArray::number(seconds * 1e6, 'f', 0) + " µs";
    if (seconds < 1)
        return QByteArray::number(seconds * 1e3, 'f', seconds < 0.1 ? 2 : 0) + " ms";
    return QByteArray::number(seconds, 'f', 2) + " s";
}

QByteArray megabytesText(double bytes)
{
    return QByteArray::number(bytes / (1024 * 1024), 'f', 1) + " MiB";
}

void print(const Row &row)
{
    std::printf("| %s | %s | %s | %s | %s | %s |\n", row.what.constData(), row.ours.constData(), row.floor.constData(),
                row.ratio.constData(), row.reach.constData(), row.isWithinReach ? "ok" : "**reach missed**");
    std::fflush(stdout);
    anyReachMissed = anyReachMissed || !row.isWithinReach;
}

QByteArray ratioText(double ratio)
{
    return QByteArray::number(ratio, 'f', 2) + " x";
}

void printTimes(const QByteArray &what, const QList<Seconds> &ours, const QByteArray &floorName,
                const QList<Seconds> &floor, Limit limit, double most)
{
    QList<double> ratios;
    for (qsizetype round = 0; round < ours.size(); ++round)
        ratios.append(ours.at(round) / floor.at(round));
    const double ratio = quantile(ratios, 0.5);
    const QByteArray number = QByteArray::number(most);
    print({
        .what = what,
        .ours = timeText(median(ours)),
        .floor = floorName + ": " + timeText(median(floor)),
        .ratio = ratioText(ratio) + " (" + QByteArray::number(quantile(ratios, 0.25), 'f', 2) + "–"
            + QByteArray::number(quantile(ratios, 0.75), 'f', 2) + ")",
        .reach = limit == Limit::None ? QByteArray("(for information)")
            : limit == Limit::Below   ? "below " + number + " x"
                                      : number + " x or less",
        .isWithinReach = limit == Limit::None || (limit == Limit::Below ? ratio < most : ratio <= most),
    });
}

int exitStatus()
{
    return anyReachMissed ? 1 : 0;
}

} // namespace Report
