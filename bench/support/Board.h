#pragma once

#include "Plumtide/model/AgentTask.h"

#include <QList>

/// A board as it looks after a day with many sessions.
namespace SampleBoard {

/// The session of line `index`; the line's id is "cc-" and this.
[[nodiscard]] QString sessionId(qsizetype index);

/// `count` lines of about half a kilobyte each, last changed within the hour before `now`; the project of line `index`
/// is "shop-" and the remainder of `index` by `projects`.
[[nodiscard]] QList<AgentTask> lines(qsizetype count, const QDateTime &now, qsizetype projects = 12);

} // namespace SampleBoard
