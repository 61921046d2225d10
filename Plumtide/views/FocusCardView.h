#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/Drawing.h"

/// What the user has to do next: the first line that waits, large, with the reason and the buttons "copy", "edit" and
/// "close", whose subject is the line's id.
struct FocusCardView
{
    static constexpr int shadowMargin = 20; ///< What its shadow takes around it, logical pixels.

    [[nodiscard]] static Drawing compose(const AgentTask &task, const QDateTime &now, double width);
};

/// Says that nothing waits for the user; or, while a source is connected and silent, what makes it appear. `other`
/// counts as absent.
struct AllClearView
{
    [[nodiscard]] static Drawing compose(std::optional<TaskSource> hintSource, double width);
};
