#pragma once

#include <QLoggingCategory>

/// What this room has to tell when it is asked by QT_LOGGING_RULES="plumtide.system=true".
Q_DECLARE_LOGGING_CATEGORY(systemLog)
