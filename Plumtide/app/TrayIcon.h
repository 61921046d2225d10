#pragma once

#include <QIcon>

/// The tray's picture, for light and dark panels alike: three people, and in a badge how many lines want the user,
/// since no tray shows a text beside the icon. No badge for 0; above 99 it says "99+". A bar through their heads says
/// that notifications are muted.
[[nodiscard]] QIcon trayIcon(int count, bool isMuted);
