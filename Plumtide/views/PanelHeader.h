#pragma once

#include "Plumtide/views/Drawing.h"

/// The top of the panel: the title, three live counts, which are those of lines under the filter, the source filter,
/// and the button that registers a line.
struct PanelHeader
{
    std::optional<TaskSource> filter = {};
    qsizetype waiting = 0;
    qsizetype running = 0;
    qsizetype idle = 0;

    bool operator==(const PanelHeader &) const = default;

    [[nodiscard]] Drawing compose(double width) const;
};

/// The bottom of the panel: the version, the switch of the mini board, and the button that ends the program.
[[nodiscard]] Drawing composeFooter(bool isMiniBoardOn, double width);
