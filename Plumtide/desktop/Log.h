#pragma once

#include <QLoggingCategory>

/// Log category "plumtide.desktop", off unless QT_LOGGING_RULES turns it on.
Q_DECLARE_LOGGING_CATEGORY(desktopLog)
