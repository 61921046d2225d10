#pragma once

#include "Plumtide/store/TaskLines.h"

/// What the user has put away in this run, the latest at the end. Only a line that is still as that has left it can be
/// taken back: what an agent has said since must not get lost. Thread: one at a time.
class UndoHistory
{
public:
    static constexpr qsizetype most = 10;

    void add(const AgentTask &before, const AgentTask &after);
    /// The line that can be taken back next, as it was before.
    [[nodiscard]] std::optional<AgentTask> last(const TaskLines &lines) const;
    std::optional<AgentTask> take(const TaskLines &lines); ///< The same, and forgets it.

private:
    struct Step
    {
        AgentTask before, after;
    };

    QList<Step> m_steps;
};
