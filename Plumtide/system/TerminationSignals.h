#pragma once

/// Lets SIGTERM, SIGINT and SIGHUP quit the QCoreApplication, also before its event loop runs. Each is caught once, so
/// that a second one ends a program that hangs. One that is ignored from the start (`nohup`) stays so. Called once.
void quitOnTerminationSignals();
