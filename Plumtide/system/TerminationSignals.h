#pragma once

/// Lets SIGTERM, SIGINT and SIGHUP quit the application, so that the program ends in an orderly way. A signal that
/// comes before the event loop runs quits it once it does. Each of the three is caught once: a second one does what the
/// system does by default, and ends a program that hangs while it ends. One that the parent process had set to be
/// ignored (`nohup`) stays ignored. Thread: the main thread, once. Needs a QCoreApplication.
void quitOnTerminationSignals();
