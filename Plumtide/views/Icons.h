#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>

/// The icon `:/icons/<name>.svg`, `size` logical pixels wide and high, in one colour, drawn for exactly the device
/// pixels of a screen of `devicePixelRatio`. The latest ones are kept.
/// Thread: main thread.
[[nodiscard]] QPixmap iconPixmap(const QString &name, double size, QColor color, double devicePixelRatio);
