#pragma once

/// Lets SIGTERM, SIGINT and SIGHUP quit the application, also one that comes before the event loop runs. Each is caught
/// once: a second one ends a program that hangs while it ends. One that the parent process had set to be ignored
/// (`nohup`) stays ignored. To be called once, with a QCoreApplication.
void quitOnTerminationSignals();
