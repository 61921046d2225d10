#pragma once

#include <QLoggingCategory>

/// "plumtide.desktop": what the desktop was found to have, and what was chosen for it. Silent unless asked for
/// (`QT_LOGGING_RULES`).
Q_DECLARE_LOGGING_CATEGORY(desktopLog)
