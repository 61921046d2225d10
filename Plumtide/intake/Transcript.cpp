#include "Plumtide/intake/Transcript.h"

#include "Plumtide/model/JsonMember.h"
#include "Plumtide/system/AppendedFile.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 tailBytes = 64 * 1024;

// The whole lines at the end of the file.
QByteArray tailOf(const QString &path)
{
    const AppendedFile file(path);
    const qint64 begin = qMax<qint64>(0, file.size() - tailBytes);
    const QByteArray tail = file.read(begin, tailBytes);
    return begin > 0 ? tail.sliced(tail.indexOf('\n') + 1) : tail;
}

} // namespace

std::optional<HookEvent> openToolUse(const QString &projects, const QString &session)
{
    QByteArray tail;
    const QStringList folders = QDir(projects).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (qsizetype i = 0; i < folders.size() && tail.isEmpty() && !session.contains(u'/'); ++i)
        tail = tailOf(projects + u'/' + folders.at(i) + u'/' + session + u".jsonl"_s);
    QList<QJsonObject> open;
    const QByteArrayList lines = tail.split('\n');
    for (const QByteArray &line : lines) {
        const QJsonValue content = QJsonDocument::fromJson(line)["message"_L1]["content"_L1];
        if (content.isString()) // the user has gone on
            open.clear();
        const QJsonArray parts = content.toArray();
        for (const QJsonValue part : parts) {
            if (part["type"_L1] == "tool_use"_L1)
                open.append(part.toObject());
            else if (part["type"_L1] == "tool_result"_L1)
                open.removeIf([&](const QJsonObject &call) { return call["id"_L1] == part["tool_use_id"_L1]; });
        }
    }
    HookEvent event;
    if (open.isEmpty() || !readMember(open.first()["name"_L1], event.toolName)
        || !readMember(open.first()["input"_L1], event.toolInput))
        return std::nullopt;
    return event;
}
