#pragma once

#include <QLoggingCategory>

/// "plumtide.app": why the panel and the mini board came, went and moved. Silent unless asked for (`QT_LOGGING_RULES`).
Q_DECLARE_LOGGING_CATEGORY(appLog)
