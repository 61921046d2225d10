#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

/// The top left corner for a window of `size` that belongs to the desktop's bar; logical screen pixels.
/// With the tray item's place (of one pixel, where only the pointer's is known): beside the bar and centred on it, as
/// far as `available` lets it. Where the bar takes no room from `available` (it hides, or floats), the half of the
/// screen that the item lies in tells its edge, and the window leaves the item free. Without a place, empty: the corner
/// of `available` where the bar has its tray; top right when there is no bar. `screen` and `available` are those of the
/// screen the window is to appear on. Of a window larger than `available` the top left corner stays visible.
[[nodiscard]] QPoint panelTopLeft(const QRect &item, const QRect &screen, const QRect &available, const QSize &size);
