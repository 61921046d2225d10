#pragma once

#include <QByteArray>
#include <QString>

#include <random>
#include <vector>

/// Events of Claude Code sessions as the hook script logs them: each session runs through turns of a prompt, tool
/// calls with a request for approval now and then, and a stop. The same arguments give the same events.
class EventMix
{
public:
    /// All of the `sessions` take part in the whole log, about 5 tool calls a turn. The events are `interval`
    /// seconds apart, from `firstTime` (seconds since 1970) on.
    EventMix(int sessions, double firstTime, double interval);

    [[nodiscard]] QByteArray next(); ///< One line of the log, with its line feed.

    [[nodiscard]] static QString sessionId(qsizetype index);
    /// One tool call of a session.
    [[nodiscard]] static QByteArray toolLine(qsizetype session, const QByteArray &tool, double time);

private:
    // std::mt19937 is the same everywhere, the standard distributions are not.
    [[nodiscard]] int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }
    [[nodiscard]] QByteArray words(int most, const std::vector<QByteArray> &from);

    std::mt19937 m_random{20'240'601};
    double m_time;
    const double m_interval;
    std::vector<int> m_callsLeft; // of each session's turn; -1 between two turns
};
