#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/Drawing.h"

/// One task line of a project card as it is shown at a moment: what it is, where it comes from, how fresh it is and
/// what it does or waits for. Unfolded it shows the goal, the latest events and the buttons of its actions.
struct LineRowView
{
    static constexpr double margin = 4; ///< Around it, for the focus ring. Logical pixels.

    AgentTask line;
    QDateTime now;
    bool isExpanded = false;
    bool hasBody = false; ///< It is expanded, or still being folded.
    QString folder = {};  ///< Of the session, as it is shown; empty if it is not known.

    /// Whether both look and sound the same; `now` may differ.
    bool operator==(const LineRowView &other) const;

    [[nodiscard]] static double foldedHeight(); ///< Of every row; logical pixels.
    [[nodiscard]] QString spokenName() const;   ///< What is seen of a folded row, for a screen reader.
    [[nodiscard]] QString spokenBody() const;   ///< What is seen only when it is unfolded.
    [[nodiscard]] Drawing compose(double width) const;
};
