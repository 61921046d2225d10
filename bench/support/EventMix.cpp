#include "bench/support/EventMix.h"

namespace {

// As they stand inside JSON: quotes and line feeds are escaped already.
const std::vector<QByteArray> promptWords{"登录页的报错",
                                          "改成中文，",
                                          "再补上测试。",
                                          "please",
                                          "refactor the session cache",
                                          "并且",
                                          "不要动数据库\\n\\n",
                                          "for \\\"expired\\\" tokens",
                                          "then run the whole suite",
                                          "🙂",
                                          "看看为什么 CI 会失败，"};
const std::vector<QByteArray> commandWords{"npm test -- --run",
                                           "&& git diff --stat",
                                           "| head -n 40",
                                           "grep -rn 'TODO' src/",
                                           "cat package.json",
                                           "\\nfor f in *.ts; do echo \\\"$f\\\"; done",
                                           "2>&1",
                                           "cmake --build build -j2"};

// The members that every event has, up to the tool or prompt.
QByteArray start(qsizetype session, const QByteArray &name)
{
    return "{\"session_id\":\"" + EventMix::sessionId(session).toLatin1() + "\",\"hook_event_name\":\"" + name
        + "\",\"cwd\":\"/home/user/projects/shop-" + QByteArray::number(session % 12) + "\",";
}

QByteArray end(double time)
{
    return "\"tavvel_ts\":" + QByteArray::number(time, 'f', 0) + "}\n";
}

} // namespace

EventMix::EventMix(int sessions, double firstTime, double interval)
    : m_time(firstTime), m_interval(interval), m_callsLeft(static_cast<size_t>(sessions), -1)
{
}

QByteArray EventMix::next()
{
    m_time += m_interval;
    const int session = below(static_cast<int>(m_callsLeft.size()));
    int &callsLeft = m_callsLeft[static_cast<size_t>(session)];
    if (callsLeft < 0) {
        callsLeft = 1 + below(10);
        return start(session, "UserPromptSubmit") + "\"prompt\":\"" + words(60, promptWords) + "\"," + end(m_time);
    }
    if (callsLeft == 0) {
        callsLeft = -1;
        return start(session, "Stop") + end(m_time);
    }
    // A request is followed by its call, unless the user says no.
    const bool asks = below(6) == 0;
    if (!asks)
        --callsLeft;
    const QByteArray what = start(session, asks ? "PermissionRequest" : "PostToolUse");
    if (below(3) == 0)
        return what + "\"tool_name\":\"Edit\",\"tool_input\":{\"file_path\":\"/home/user/projects/shop/src/components/"
            + QByteArray::number(below(400)) + "/LoginForm.tsx\"}," + end(m_time);
    return what + "\"tool_name\":\"Bash\",\"tool_input\":{\"command\":\"" + words(30, commandWords)
        + "\",\"description\":\"Run the tests and show what changed\"}," + end(m_time);
}

QString EventMix::sessionId(qsizetype index)
{
    return QStringLiteral("4319d94c-2187-4df0-959a-%1").arg(index, 12, 16, QLatin1Char('0'));
}

QByteArray EventMix::toolLine(qsizetype session, const QByteArray &tool, double time)
{
    return start(session, "PostToolUse") + "\"tool_name\":\"" + tool
        + "\",\"tool_input\":{\"command\":\"npm test -- --run\"}," + end(time);
}

QByteArray EventMix::words(int most, const std::vector<QByteArray> &from)
{
    QByteArray result;
    for (int left = 1 + below(most); left > 0; --left)
        result += from[static_cast<size_t>(below(static_cast<int>(from.size())))] + ' ';
    return result;
}
