#pragma once

#include <QLoggingCategory>

// Off unless QT_LOGGING_RULES turns them on.
inline const QLoggingCategory systemLog("plumtide.system", QtWarningMsg);
inline const QLoggingCategory intakeLog("plumtide.intake", QtWarningMsg);
inline const QLoggingCategory storeLog("plumtide.store", QtWarningMsg);
inline const QLoggingCategory hooksLog("plumtide.hooks", QtWarningMsg);
inline const QLoggingCategory desktopLog("plumtide.desktop", QtWarningMsg);
inline const QLoggingCategory appLog("plumtide.app", QtWarningMsg);
