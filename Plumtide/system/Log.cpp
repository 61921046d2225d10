#include "Plumtide/system/Log.h"

Q_LOGGING_CATEGORY(systemLog, "plumtide.system", QtWarningMsg)
Q_LOGGING_CATEGORY(intakeLog, "plumtide.intake", QtWarningMsg)
Q_LOGGING_CATEGORY(storeLog, "plumtide.store", QtWarningMsg)
Q_LOGGING_CATEGORY(hooksLog, "plumtide.hooks", QtWarningMsg)
Q_LOGGING_CATEGORY(desktopLog, "plumtide.desktop", QtWarningMsg)
Q_LOGGING_CATEGORY(appLog, "plumtide.app", QtWarningMsg)
