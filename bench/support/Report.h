#pragma once

#include <QByteArray>
#include <QList>

#include <chrono>
#include <functional>

using Seconds = std::chrono::duration<double>;

/// How a benchmark takes times, draws its rows and gives up.
namespace Report {

/// The arguments of every benchmark: `--quick` alone, or none. Anything else ends the program.
[[nodiscard]] bool isQuick(int argc, char **argv);

/// One sentence on standard error, and the end with status 2: what was to be measured did not do its job.
[[noreturn]] void giveUp(const QByteArray &sentence);

[[nodiscard]] Seconds timeOf(const std::function<void()> &work);
[[nodiscard]] Seconds processorTimeOf(const std::function<void()> &work); ///< Of the calling thread.

/// The value at `part` of the sorted values: 0.5 for the median.
[[nodiscard]] double quantile(QList<double> values, double part);
[[nodiscard]] Seconds median(const QList<Seconds> &times);

/// "2.14 ms": microseconds to seconds, whatever reads best.
[[nodiscard]] QByteArray timeText(Seconds time);
[[nodiscard]] QByteArray megabytesText(double bytes);

/// One row of the table. A row whose measure exceeds the limit is marked, and makes `exitStatus` 1.
struct Row
{
    QByteArray what;
    QByteArray ours;
    QByteArray floor;
    QByteArray ratio; ///< Ours to the floor; empty where the floor is nothing at all.
    QByteArray reach; ///< The limit in words.
    bool isWithinReach = false;
};
void print(const Row &row);

[[nodiscard]] QByteArray ratioText(double ratio); ///< "2.11 x"

enum class Limit { AtMost, Below, None }; ///< None: for information.
/// The row of times that were taken in rounds, ours and the floor's right after each other, with a limit on their
/// ratio. That is the median of the rounds' ratios: what slows the machine down for a while slows both of a round.
/// In brackets, the middle half of them.
void printTimes(const QByteArray &what, const QList<Seconds> &ours, const QByteArray &floorName,
                const QList<Seconds> &floor, Limit limit, double most);

[[nodiscard]] int exitStatus(); ///< 0, or 1 when a row missed its reach.

} // namespace Report
