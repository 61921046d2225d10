#pragma once

#include "Plumtide/views/Drawing.h"

/// The top of the panel: the title, three live counts, the source filter by the buttons "all", "claude", "codex" and
/// "other", and the button "register". The counts are those of lines under the filter.
struct PanelHeader
{
    std::optional<TaskSource> filter = {};
    qsizetype waiting = 0;
    qsizetype running = 0;
    qsizetype idle = 0;

    bool operator==(const PanelHeader &) const = default;

    /// The button's source; absent for "all".
    [[nodiscard]] static std::optional<TaskSource> filterOf(const QString &button);
    [[nodiscard]] Drawing compose(double width) const;
};

/// The bottom of the panel: the version, the switch of the mini board ("switch"), and the button that ends the program
/// ("quit").
[[nodiscard]] Drawing composeFooter(bool isMiniBoardOn, double width);
