#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

#include <optional>

/// The top left corner for a window of `size` that belongs to the desktop's bar; logical screen pixels.
/// With the point of the click, `at`: beside the bar and centred on the point, as far as `available` lets it. Where
/// the bar takes no room from `available` (it hides, or floats), the half of the screen that the point lies in tells
/// its edge. Without a point: the corner of `available` where the bar has its tray; top right when there is no bar.
/// `screen` and `available` are those of the screen the window is to appear on. Of a window larger than `available`
/// the top left corner stays visible.
[[nodiscard]] QPoint panelTopLeft(std::optional<QPoint> at, const QRect &screen, const QRect &available,
                                  const QSize &size);
