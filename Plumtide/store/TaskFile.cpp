#include "Plumtide/store/TaskFile.h"

#include "Plumtide/model/JsonMember.h"
#include "Plumtide/system/Files.h"
#include "Plumtide/system/Log.h"

#include <QFileInfo>
#include <QJsonArray>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestFile = qint64(1) << 30; // bytes; Qt's JSON reader takes no more

} // namespace

QList<AgentTask> TaskFile::load()
{
    const Outcome<QByteArray> content = Files::read(m_path, largestFile);
    if (std::optional<QList<AgentTask>> lines = content ? decode(content.value()) : std::nullopt)
        return *std::move(lines);
    m_mustMoveAside = content || (content.failure().code != ENOENT && content.failure().code != ENOTDIR);
    if (content)
        (void)moveAside(); // the first save tries again what has failed, and reports it
    return {};
}

Outcome<void> TaskFile::save(const QList<AgentTask> &lines)
{
    if (Outcome<void> moved = moveAside(); !moved)
        return moved;
    if (m_isSaved) {
        const Outcome<QByteArray> file = Files::read(m_path, largestFile);
        if (file && file.value() == m_content)
            return {};
    }
    m_texts.resize(lines.size());
    m_content.resize(0);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (m_texts.at(i).isEmpty())
            m_texts[i] = encode({lines.at(i)}).sliced(2).chopped(3); // without "[\n" and "\n]\n"
        m_content.append(i == 0 ? "[\n" : ",\n").append(m_texts.at(i));
    }
    m_content.append(lines.isEmpty() ? "[\n]\n" : "\n]\n");
    if (Outcome<void> made = Files::makeDirectory(QFileInfo(m_path).path()); !made)
        return made;
    Outcome<void> written = Files::replace(m_path, m_content, {.isFlushed = false});
    if (written) {
        m_isSaved = true;
        m_flush.written();
    }
    return written;
}

void TaskFile::lineChanged(qsizetype index)
{
    m_isSaved = false;
    if (index < m_texts.size())
        m_texts[index].clear();
}

QByteArray TaskFile::encode(const QList<AgentTask> &lines)
{
    QJsonArray records;
    for (const AgentTask &line : lines)
        records.append(toJson(line));
    return QJsonDocument(records).toJson(QJsonDocument::Indented);
}

std::optional<QList<AgentTask>> TaskFile::decode(const QByteArray &content)
{
    const QJsonDocument document = readJson(content);
    if (!document.isArray())
        return std::nullopt;
    QList<AgentTask> lines;
    const QJsonArray array = document.array();
    for (const QJsonValue element : array) {
        std::optional<AgentTask> line = agentTaskFrom(element.toObject()); // none of what is no object
        if (!line)
            return std::nullopt;
        lines.append(*std::move(line));
    }
    return lines;
}

Outcome<void> TaskFile::moveAside()
{
    if (!m_mustMoveAside)
        return {};
    const Outcome<QString> moved = Files::moveAside(m_path, QFileInfo(m_path).path() + u"/tasks.corrupt"_s, u".json"_s);
    if (!moved && moved.failure().code != ENOENT)
        return moved.failure();
    qCDebug(storeLog) << m_path << "was not understood, and was moved aside";
    m_mustMoveAside = false;
    return {};
}
