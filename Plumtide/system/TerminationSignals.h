#pragma once

#include <QObject>

#include <array>

#include <signal.h>

/// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal, so that the program ends in an orderly way when the
/// session, the user's terminal or `kill` ends it. A signal that came before the event loop runs is reported
/// once it does.
///
/// Each of the three is caught once: when it comes again, it does what the system does by default and ends a
/// program whose orderly end has got stuck. One that the starting program had set to be ignored (`nohup`)
/// stays ignored.
/// Thread: main thread, one at a time. Destroying it brings the earlier handlers back.
class TerminationSignals final : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void requested();

private:
    static constexpr std::array<int, 3> s_numbers{SIGTERM, SIGINT, SIGHUP};
    std::array<struct sigaction, 3> m_earlier{};
};
