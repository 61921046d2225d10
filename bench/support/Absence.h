#pragma once

#include "bench/support/Report.h"

#include <functional>

/// How long the main thread stays away from its event loop, to a millisecond.
/// Thread: main thread, whose event loop must not be running: it runs inside these calls.
namespace Absence {

/// Calls `start`, then runs the event loop until `isOver`, which is asked ten times a second. Says how long a timer of
/// 1 ms had to wait at most; the time that `start` and `isOver` take counts.
[[nodiscard]] Seconds longest(const std::function<void()> &start, const std::function<bool()> &isOver);

/// The same loop with nothing to do for `length`: what the machine itself adds.
[[nodiscard]] Seconds whileIdle(Seconds length);

} // namespace Absence
