#include "Plumtide/intake/ClaudeRecords.h"

#include "Plumtide/model/JsonMember.h"
#include "Plumtide/system/Files.h"

#include <QDir>
#include <QVariant>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

SessionRecord ClaudeRecords::decode(const QByteArray &content)
{
    const QJsonDocument document = readJson(content);
    SessionRecord record;
    double pid = 0;
    // Zero and negative numbers name process groups when a signal is sent, so they are no process ids.
    if (!readMember(document["sessionId"_L1], record.sessionId) || !readMember(document["pid"_L1], pid)
        || !(pid >= 1 && pid <= std::numeric_limits<pid_t>::max()) || std::trunc(pid) != pid)
        return {};
    record.pid = static_cast<pid_t>(pid);
    record.processStart = document["procStart"_L1].toVariant().toString(); // a text or a number
    const QString status = document["status"_L1].toString();               // older clients write none
    if (status == "busy"_L1)
        record.state = SessionState::works;
    else if (status == "waiting"_L1)
        record.state = SessionState::asks;
    else if (status == "idle"_L1 || status == "shell"_L1) // only a background shell runs
        record.state = SessionState::turnEnded;
    record.cwd = wellFormed(document["cwd"_L1].toString());
    record.waitingFor = document["waitingFor"_L1].toString();
    record.since = document["statusUpdatedAt"_L1].toDouble();
    return record;
}

std::chrono::milliseconds ClaudeRecords::read(FileWatch &watch)
{
    const std::optional<QSet<QString>> changed = watch.attachFolder(m_folder, IN_CLOSE_WRITE | IN_MOVE | IN_DELETE, 1);
    // If it may have been any, also one that is gone.
    QStringList names = changed ? changed->values() : m_known.keys();
    if (!changed)
        names += QDir(m_folder).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Unsorted);
    names.removeDuplicates();
    for (const QString &name : std::as_const(names)) {
        if (m_isStopping)
            break;
        if (!name.endsWith(".json"_L1) || name == ".json"_L1) // which has a name and no extension
            continue;
        constexpr qint64 largestRecord = 1 << 20; // bytes; a real one has some 600
        const Outcome<QByteArray> content = Files::read(m_folder + u'/' + name, largestRecord);
        const SessionRecord now = content ? decode(content.value()) : SessionRecord();
        const SessionRecord before = std::exchange(m_known[name], now);
        if (now.pid == 0)
            m_known.remove(name);
        if (now != before)
            m_onChange(before, now);
    }
    return std::chrono::milliseconds::max();
}
