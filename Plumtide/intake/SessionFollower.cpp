#include "Plumtide/intake/SessionFollower.h"

#include "Plumtide/model/JsonMember.h"
#include "Plumtide/system/Files.h"

#include <QDir>
#include <QJsonDocument>
#include <QSet>
#include <QVariant>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

std::optional<SessionRecord> SessionRecord::decode(const QByteArray &content)
{
    const QJsonDocument document = QJsonDocument::fromJson(content);
    SessionRecord record;
    double pid = 0;
    if (!readMember(document["sessionId"_L1], record.sessionId) || !readMember(document["pid"_L1], pid))
        return std::nullopt;
    // Zero and negative numbers name process groups when a signal is sent, so they are no process ids.
    if (!(pid >= 1 && pid <= std::numeric_limits<pid_t>::max()) || std::trunc(pid) != pid)
        return std::nullopt;
    record.pid = static_cast<pid_t>(pid);
    record.processStart = document["procStart"_L1].toVariant().toString(); // a text or a number
    record.status = document["status"_L1].toString();
    record.waitingFor = document["waitingFor"_L1].toString();
    record.since = document["statusUpdatedAt"_L1].toDouble();
    return record;
}

void SessionFollower::readAll()
{
    QSet<QString> names(m_known.keyBegin(), m_known.keyEnd()); // of which some may be gone
    for (const QString &name : QDir(m_folder).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Unsorted))
        names.insert(name);
    for (const QString &name : std::as_const(names))
        read(name);
}

void SessionFollower::read(const QString &name)
{
    constexpr qint64 largestRecord = 1 << 20;             // bytes; a real one has some 600
    if (!name.endsWith(".json"_L1) || name == ".json"_L1) // which has a name and no extension
        return;
    const auto known = m_known.constFind(name);
    const std::optional<SessionRecord> before = known == m_known.cend() ? std::nullopt : std::optional(*known);
    const Outcome<QByteArray> content = Files::read(m_folder + u'/' + name, largestRecord);
    const std::optional<SessionRecord> now = content ? SessionRecord::decode(content.value()) : std::nullopt;
    if (now == before)
        return;
    if (now)
        m_known.insert(name, *now);
    else
        m_known.remove(name);
    m_onChange(before, now);
}
