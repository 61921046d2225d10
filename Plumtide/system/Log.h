#pragma once

#include <QLoggingCategory>

// "plumtide.system" and so on. Off unless QT_LOGGING_RULES turns them on.
Q_DECLARE_LOGGING_CATEGORY(systemLog)
Q_DECLARE_LOGGING_CATEGORY(intakeLog)
Q_DECLARE_LOGGING_CATEGORY(storeLog)
Q_DECLARE_LOGGING_CATEGORY(hooksLog)
Q_DECLARE_LOGGING_CATEGORY(desktopLog)
Q_DECLARE_LOGGING_CATEGORY(appLog)
