#include "Plumtide/app/Log.h"

Q_LOGGING_CATEGORY(appLog, "plumtide.app", QtWarningMsg)
