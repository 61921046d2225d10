#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

/// The top left corner for a window of `size` beside the tray item, in logical screen pixels. `screen` is the whole
/// screen, `available` is without the desktop's bars. `item` is the tray item's geometry, or the pointer's pixel. The
/// window stands beside the bar and is centred on the item, but stays inside `available`. If the bar takes no space
/// from `available` (it hides, or floats), the half of the screen with the item is taken for the bar's edge, and the
/// window does not cover the item. If `item` is empty, the window stands in the corner where the bar has its tray, or
/// top right without a bar.
[[nodiscard]] QPoint panelTopLeft(const QRect &item, const QRect &screen, const QRect &available, const QSize &size);

/// The top left corner at which a window of `size` is inside `area`; if it is too large, its top left corner is.
[[nodiscard]] QPoint movedInside(QPoint topLeft, const QSize &size, const QRect &area);
