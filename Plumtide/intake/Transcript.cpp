#include "Plumtide/intake/Transcript.h"

#include "Plumtide/model/JsonMember.h"
#include "Plumtide/system/AppendedFile.h"

#include <QDir>
#include <QJsonArray>

using namespace Qt::StringLiterals;

std::optional<HookEvent> openToolUse(const QString &projects, const QString &session)
{
    constexpr qint64 tailBytes = 64 * 1024;
    QByteArray tail; // its first line may be cut, and is none then
    const QStringList folders = QDir(projects).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (qsizetype i = 0; i < folders.size() && tail.isEmpty() && !session.contains(u'/'); ++i) {
        const AppendedFile file(projects + u'/' + folders.at(i) + u'/' + session + u".jsonl"_s);
        tail = file.read(qMax<qint64>(0, file.size() - tailBytes), tailBytes);
    }
    QList<QJsonObject> open;
    const QByteArrayList lines = tail.split('\n');
    for (const QByteArray &line : lines) {
        const QJsonValue content = QJsonDocument::fromJson(line)["message"_L1]["content"_L1];
        if (content.isString()) // the user has gone on
            open.clear();
        const QJsonArray parts = content.toArray();
        for (const QJsonValue part : parts) {
            open.removeIf([&](const QJsonObject &call) { return call["id"_L1] == part["tool_use_id"_L1]; });
            if (part["type"_L1] == "tool_use"_L1)
                open.append(part.toObject());
        }
    }
    HookEvent event;
    if (open.isEmpty() || !readMember(open.first()["name"_L1], event.toolName)
        || !readMember(open.first()["input"_L1], event.toolInput))
        return std::nullopt;
    return event;
}
