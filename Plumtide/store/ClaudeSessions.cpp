#include "Plumtide/store/ClaudeSessions.h"

#include "Plumtide/system/Files.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestRecord = 1 << 20; // bytes; a real one has some 600

// Zero and negative numbers name process groups when a signal is sent, so they are no process ids.
std::optional<pid_t> pidFrom(const QJsonValue &value)
{
    const double number = value.toDouble(0);
    if (number < 1 || number > std::numeric_limits<pid_t>::max() || std::trunc(number) != number)
        return std::nullopt;
    return static_cast<pid_t>(number);
}

} // namespace

std::optional<ClaudeSessions> aliveClaudeSessionIds(const QString &directory, const ProcessProbe &processExists)
{
    const QDir records(directory);
    if (!records.isReadable())
        return std::nullopt;
    ClaudeSessions sessions;
    const QStringList names = records.entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : names) {
        if (QFileInfo(name).completeBaseName().isEmpty() || !name.endsWith(u".json"_s))
            continue; // a file that is called just ".json" has no extension
        const Outcome<QByteArray> content = Files::read(records.filePath(name), largestRecord);
        if (!content)
            continue;
        const QJsonObject record = QJsonDocument::fromJson(content.value()).object();
        const QJsonValue sessionId = record.value("sessionId"_L1);
        const std::optional<pid_t> pid = pidFrom(record.value("pid"_L1));
        if (!sessionId.isString() || !pid)
            continue;
        sessions.seen.insert(sessionId.toString());
        if (processExists(*pid))
            sessions.alive.insert(sessionId.toString());
    }
    return sessions;
}
