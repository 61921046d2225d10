#include "Plumtide/intake/EventLog.h"

#include "Plumtide/system/AppendedFile.h"
#include "Plumtide/system/Log.h"

using namespace Qt::StringLiterals;

namespace {

// The whole lines of a log, block by block.
class Blocks
{
public:
    Blocks(const AppendedFile &log, qint64 offset) : m_log(log), m_offset(offset) {}

    [[nodiscard]] qint64 offset() const { return m_offset; } // past the last block

    // The next one, which ends with a line feed; valid until the next call. Empty at the end, or when it is to stop.
    QByteArrayView next(const std::atomic<bool> &isStopping)
    {
        qint64 length = EventLog::blockBytes;
        qint64 begin = m_offset; // beyond the offset only inside a line that is too long
        while (!isStopping) {
            m_bytes = {}; // so that there is only one block in memory
            m_bytes = m_log.read(begin, length);
            if (const qsizetype end = m_bytes.lastIndexOf('\n') + 1; end > 0) {
                // A line that is too long is skipped; this is its end.
                const qsizetype first = begin > m_offset ? m_bytes.indexOf('\n') : 0;
                m_offset = begin + end;
                return QByteArrayView(m_bytes).sliced(first, end - first);
            }
            if (m_bytes.size() < length)
                return {};
            if (length < EventLog::longestLineBytes)
                length *= 2;
            else
                begin += length;
        }
        return {};
    }

private:
    const AppendedFile &m_log;
    qint64 m_offset;
    QByteArray m_bytes;
};

// The lines of `block`, which ends with a line feed, except empty ones, until `visit` returns false.
template <typename Visit>
bool forEachLine(QByteArrayView block, Visit visit)
{
    for (qsizetype begin = 0; begin < block.size();) {
        const qsizetype end = block.indexOf('\n', begin);
        if (end > begin && !visit(block.sliced(begin, end - begin)))
            return false;
        begin = end + 1;
    }
    return true;
}

} // namespace

EventLog::EventLog(QString path, std::optional<qint64> position, OnEvent onEvent)
    : m_path(std::move(path)), m_position(position), m_onEvent(std::move(onEvent))
{
}

void EventLog::readNewLines()
{
    const AppendedFile log(m_path);
    if (!m_position) {
        qCDebug(intakeLog) << "the position is not known: the events in the log may have been applied already";
        moveTo(log.size());
    }
    if (log.size() == *m_position || log.size() == 0) // an empty log may still be filled
        return;
    if (log.size() < *m_position) {
        qCDebug(intakeLog) << "the log has only" << log.size() << "bytes, not" << *m_position
                           << ": it is read from its start";
        m_position = 0;
    }
    for (Blocks blocks(log, *m_position); !m_isStopping;) {
        const QByteArrayView block = blocks.next(m_isStopping);
        if (block.isEmpty())
            return;
        qCDebug(intakeLog) << "read up to" << blocks.offset();
        const bool isWhole = forEachLine(block, [&](QByteArrayView line) {
            if (const std::optional<HookEvent> event = HookEvent::decode(line))
                moveTo(blocks.offset() - (block.end() - line.end()) + 1, event);
            else
                qCDebug(intakeLog) << "no event:" << line.first(qMin<qsizetype>(line.size(), 200)).toByteArray();
            return !m_isStopping;
        });
        if (isWhole && m_position != blocks.offset())
            moveTo(blocks.offset());
    }
}

void EventLog::moveTo(qint64 position, const std::optional<HookEvent> &event)
{
    m_position = position;
    m_onEvent(event, position);
}

bool EventLog::needsRotation() const
{
    // With another size it has not been read to its end, or is another log.
    return m_position > rotateAboveBytes && AppendedFile(m_path).size() == m_position;
}

void EventLog::rotateIfNeeded()
{
    if (!needsRotation() || m_isStopping || !AppendedFile::truncateIfUnused(m_path, *m_position))
        return;
    qCDebug(intakeLog) << "truncated the log, all" << *m_position << "bytes of it were read";
    moveTo(0);
}

bool EventLog::scanHistory(const Visit &visit)
{
    const AppendedFile log(m_path);
    Blocks blocks(log, m_scanned);
    const QByteArrayView block = blocks.next(m_isStopping);
    m_scanned = blocks.offset();
    return !block.isEmpty() && forEachLine(block, visit);
}
