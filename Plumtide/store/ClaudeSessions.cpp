#include "Plumtide/store/ClaudeSessions.h"

#include "Plumtide/model/MemberReader.h"
#include "Plumtide/system/Files.h"

#include <QDir>
#include <QJsonDocument>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestRecord = 1 << 20; // bytes; a real one has some 600

// Zero and negative numbers name process groups when a signal is sent, so they are no process ids.
std::optional<pid_t> pidFrom(std::optional<double> number)
{
    if (!number || *number < 1 || *number > std::numeric_limits<pid_t>::max() || std::trunc(*number) != *number)
        return std::nullopt;
    return static_cast<pid_t>(*number);
}

} // namespace

std::optional<ClaudeSessions> aliveClaudeSessionIds(const QString &directory, const QSet<QString> &wanted,
                                                    const ProcessProbe &processExists)
{
    const QDir records(directory);
    if (!records.isReadable())
        return std::nullopt;
    ClaudeSessions sessions;
    const QStringList names = records.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Unsorted);
    for (const QString &name : names) {
        if (sessions.alive == wanted)
            break;
        if (!name.endsWith(".json"_L1) || name == ".json"_L1) // which has a name and no extension
            continue;
        const Outcome<QByteArray> content = Files::read(records.filePath(name), largestRecord);
        if (!content)
            continue;
        const QJsonObject record = QJsonDocument::fromJson(content.value()).object();
        MemberReader reader(record);
        const std::optional<QString> sessionId = reader.text("sessionId"_L1);
        const std::optional<pid_t> pid = pidFrom(reader.number("pid"_L1));
        if (!sessionId || !pid || !wanted.contains(*sessionId))
            continue;
        sessions.seen.insert(*sessionId);
        if (processExists(*pid))
            sessions.alive.insert(*sessionId);
    }
    return sessions;
}
