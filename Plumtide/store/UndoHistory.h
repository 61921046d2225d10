#pragma once

#include "Plumtide/store/TaskLines.h"

/// The lines that the user has shelved or ended in this run, the latest at the end. A step can be undone only while its
/// line is unchanged since, so that no later event of an agent gets lost. Thread: one at a time.
class UndoHistory
{
public:
    static constexpr qsizetype most = 10;

    void add(const AgentTask &before, const AgentTask &after);
    /// The line that the next undo restores, as it was before.
    [[nodiscard]] std::optional<AgentTask> last(const TaskLines &lines) const;
    std::optional<AgentTask> pop(const TaskLines &lines); ///< The same, and removes the step.

private:
    struct Step
    {
        AgentTask before, after;
    };

    QList<Step> m_steps;
};
