#include "Plumtide/desktop/Log.h"

Q_LOGGING_CATEGORY(desktopLog, "plumtide.desktop", QtWarningMsg)
