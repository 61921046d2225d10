#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>

/// The icon `:/icons/<name>.svg`, `size` logical pixels wide and high, in one colour, for a screen of
/// `devicePixelRatio`. Recent ones are cached. Thread: main thread.
[[nodiscard]] QPixmap iconPixmap(const QString &name, double size, QColor color, double devicePixelRatio);
