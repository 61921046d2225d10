#pragma once

#include "Plumtide/desktop/Notifier.h"
#include "Plumtide/desktop/SessionTerminal.h"
#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/system/HomeLock.h"

#include <QElapsedTimer>

#include <algorithm>

/// The services of the program, in the order in which they need each other. `main` makes the one value on its stack,
/// with the home's lock, and they end in the reverse order. Where the process ends without that, as by Qt when the
/// display goes, no event is lost, either.
/// A QCoreApplication exists before it.
struct Services
{
    HomeLock lock;
    Environment environment = Environment::real();
    Notifier notifier{};
    TaskStore store{environment};
    HooksInstaller installer{environment};
    QString lastNext{}; ///< The id of the line that `nextLine` has returned last.
    QElapsedTimer sinceNext{};

    /// The line of the next step; within five seconds of the last call, the one after that call's. Empty where nothing
    /// waits.
    [[nodiscard]] QString nextLine()
    {
        const QList<AgentTask> waiting = store.tasks(AgentTaskStatus::waiting);
        const bool goesOn = sinceNext.isValid() && !sinceNext.hasExpired(5'000);
        const auto last = std::ranges::find(waiting, goesOn ? lastNext : QString(), &AgentTask::id);
        const bool isFirst = last == waiting.end() || last + 1 == waiting.end();
        sinceNext.start();
        return lastNext = isFirst ? waiting.value(0).id : (last + 1)->id;
    }

    /// What a line is a session of; without an id where it is none.
    [[nodiscard]] SessionTerminal::Session sessionOf(const QString &lineId) const
    {
        AgentTask line; // a notice comes before its line
        line.id = lineId;
        return {line.session(), line.agent() == TaskSource::codex, store.recordedProcess(line)};
    }

    /// The line that a notification is about: of several, the session that has waited longest for an approval.
    [[nodiscard]] QString lineOf(const QString &notification) const
    {
        const QString line = Board::Notice::lineOf(notification);
        QList<AgentTask> asking = line.isEmpty() ? store.tasks() : QList<AgentTask>();
        asking.removeIf([](const AgentTask &task) { return !task.isAgentLine() || !task.isUrgent(); });
        const auto first = std::ranges::min_element(asking, {}, &AgentTask::updatedAt);
        return first == asking.end() ? line : first->id;
    }
};
