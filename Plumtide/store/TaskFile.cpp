#include "Plumtide/store/TaskFile.h"

#include "Plumtide/system/Files.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestFile = qint64(1) << 30; // bytes; Qt's JSON reader takes no more

// One record as it stands inside the array: indented, without the comma.
QByteArray recordText(const AgentTask &line)
{
    // Printed inside an array of its own for the indentation; its brackets are cut off again.
    const QByteArray array = QJsonDocument(QJsonArray{toJson(line)}).toJson(QJsonDocument::Indented);
    const qsizetype begin = array.indexOf('\n') + 1;
    const qsizetype end = array.lastIndexOf('\n', array.size() - 2);
    return array.sliced(begin, end - begin);
}

void appendArray(QByteArray &content, const std::vector<QByteArray> &texts)
{
    content.append("[\n");
    for (const QByteArray &text : texts) {
        content.append(text);
        content.append(",\n");
    }
    if (!texts.empty())
        content.remove(content.size() - 2, 1);
    content.append("]\n");
}

} // namespace

TaskFile::TaskFile(QString path, const QStringList &flushWith)
    : m_path(std::move(path)), m_directory(QFileInfo(m_path).path()), m_flush(QStringList{m_path} + flushWith)
{
}

QList<AgentTask> TaskFile::load()
{
    Outcome<QByteArray> content = Files::read(m_path, largestFile);
    if (!content) {
        m_mustMoveAside = content.failure().code != ENOENT && content.failure().code != ENOTDIR;
        return {};
    }
    if (std::optional<QList<AgentTask>> lines = decode(content.value()))
        return *std::move(lines);
    m_mustMoveAside = true;
    // A failure is met again, and reported, by the first save.
    [[maybe_unused]] const Outcome<void> moved = moveAside();
    return {};
}

Outcome<void> TaskFile::save(const QList<AgentTask> &lines)
{
    if (Outcome<void> moved = moveAside(); !moved)
        return moved;

    m_texts.resize(static_cast<size_t>(lines.size()));
    for (qsizetype i = 0; i < lines.size(); ++i) {
        QByteArray &text = m_texts[static_cast<size_t>(i)];
        if (text.isEmpty())
            text = recordText(lines.at(i));
    }
    m_content.resize(0);
    appendArray(m_content, m_texts);

    const Files::ReplaceOptions options{.flush = Files::Flush::Later};
    Outcome<void> written = Files::replace(m_path, m_content, options);
    if (!written && written.failure().code == ENOENT) {
        if (Outcome<void> made = Files::makeDirectory(m_directory); !made)
            return made;
        written = Files::replace(m_path, m_content, options);
    }
    if (written)
        m_flush.written();
    return written;
}

void TaskFile::lineChanged(qsizetype index)
{
    if (static_cast<size_t>(index) < m_texts.size())
        m_texts[static_cast<size_t>(index)].clear();
}

void TaskFile::lineDropped(qsizetype index)
{
    if (static_cast<size_t>(index) < m_texts.size())
        m_texts.erase(m_texts.begin() + index);
}

QByteArray TaskFile::encode(const QList<AgentTask> &lines)
{
    std::vector<QByteArray> texts;
    for (const AgentTask &line : lines)
        texts.push_back(recordText(line));
    QByteArray content;
    appendArray(content, texts);
    return content;
}

std::optional<QList<AgentTask>> TaskFile::decode(const QByteArray &content)
{
    const QJsonDocument document = QJsonDocument::fromJson(content);
    if (!document.isArray())
        return std::nullopt;
    QList<AgentTask> lines;
    const QJsonArray array = document.array();
    lines.reserve(array.size());
    for (const QJsonValue element : array) {
        std::optional<AgentTask> line = element.isObject() ? agentTaskFrom(element.toObject()) : std::nullopt;
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
    const Outcome<QString> moved = Files::moveAside(m_path, m_directory + u"/tasks.corrupt"_s, u".json"_s);
    if (!moved && moved.failure().code != ENOENT)
        return moved.failure();
    m_mustMoveAside = false;
    return {};
}
