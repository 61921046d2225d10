#include "Plumtide/store/ClaudeSessions.h"

#include "Plumtide/model/JsonMember.h"
#include "Plumtide/system/Files.h"

#include <QDir>
#include <QJsonDocument>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestRecord = 1 << 20; // bytes; a real one has some 600

// Zero and negative numbers name process groups when a signal is sent, so they are no process ids.
bool isProcessId(double number)
{
    return number >= 1 && number <= std::numeric_limits<pid_t>::max() && std::trunc(number) == number;
}

} // namespace

ClaudeSessions aliveClaudeSessionIds(const QString &directory, const QSet<QString> &wanted,
                                     const ProcessProbe &processExists)
{
    ClaudeSessions sessions;
    const QDir records(directory);
    const QStringList names = records.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Unsorted);
    for (const QString &name : names) {
        if (sessions.alive == wanted)
            break;
        if (!name.endsWith(".json"_L1) || name == ".json"_L1) // which has a name and no extension
            continue;
        const Outcome<QByteArray> content = Files::read(records.filePath(name), largestRecord);
        const QJsonDocument record = content ? QJsonDocument::fromJson(content.value()) : QJsonDocument();
        QString sessionId;
        double pid = 0;
        if (!readMember(record["sessionId"_L1], sessionId) || !readMember(record["pid"_L1], pid) || !isProcessId(pid)
            || !wanted.contains(sessionId))
            continue;
        sessions.seen.insert(sessionId);
        if (processExists(static_cast<pid_t>(pid)))
            sessions.alive.insert(sessionId);
    }
    return sessions;
}
