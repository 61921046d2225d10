#pragma once

#include <QIcon>

/// The tray's picture: three people, and how many lines want the user as a badge within the square, since no tray
/// shows a text beside the icon. Drawn for 16, 22, 24, 32, 48 and 64 px each by itself, for light and dark panels
/// alike. Without a badge for 0; above 99 it says "99+" (the exact number belongs in the tooltip).
[[nodiscard]] QIcon trayIcon(int count);
