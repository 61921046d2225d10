#pragma once

#include <QLoggingCategory>

/// Log category "plumtide.system", switched on by QT_LOGGING_RULES="plumtide.system=true".
Q_DECLARE_LOGGING_CATEGORY(systemLog)
