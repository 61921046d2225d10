#include "Plumtide/store/UndoHistory.h"

void UndoHistory::add(const AgentTask &before, const AgentTask &after)
{
    m_steps.append({before, after});
    if (m_steps.size() > most)
        m_steps.removeFirst();
}

std::optional<AgentTask> UndoHistory::last(const TaskLines &lines) const
{
    return UndoHistory(*this).pop(lines);
}

std::optional<AgentTask> UndoHistory::pop(const TaskLines &lines)
{
    while (!m_steps.isEmpty()) {
        if (const Step step = m_steps.takeLast(); lines.line(step.after.id) == step.after)
            return step.before;
    }
    return std::nullopt;
}
