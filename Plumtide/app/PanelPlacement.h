#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

/// The top left corner for a window of `size` beside the tray item, in logical screen pixels: beside the bar, centred
/// on the item, inside `available`, the screen without its bars. `item` is the geometry of the tray item, or the
/// pointer's pixel. Where the bar takes no space (it hides, or floats), it is sought in the half of the screen with the
/// item, which is not covered. If `item` is empty: in the corner where the bar has its tray, or top right without one.
[[nodiscard]] QPoint panelTopLeft(const QRect &item, const QRect &screen, const QRect &available, const QSize &size);

/// The top left corner at which a window of `size` is inside `area`; if it is too large, its top left corner is.
[[nodiscard]] QPoint movedInside(QPoint topLeft, const QSize &size, const QRect &area);
