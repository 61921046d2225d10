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

/// The bottom of the panel: the version, until when notifications are muted, the switch of the mini board, and the
/// button that ends the program.
struct PanelFooter
{
    bool isMiniBoardOn = false;
    QString mute = {}; ///< See muteText.

    bool operator==(const PanelFooter &) const = default;

    /// "勿扰到 10:41", or what stands for that; empty where notifications are not muted.
    [[nodiscard]] static QString muteText(const std::optional<QDateTime> &until, const QDateTime &now);

    [[nodiscard]] Drawing compose(double width) const;
};
