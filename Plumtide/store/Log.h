#pragma once

#include <QLoggingCategory>

/// "plumtide.store": what events and sweeps changed, and what became of the file. Silent unless asked for
/// (`QT_LOGGING_RULES`).
Q_DECLARE_LOGGING_CATEGORY(storeLog)
