#include "Plumtide/intake/EventLog.h"

#include "Plumtide/system/AppendedFile.h"
#include "Plumtide/system/Log.h"

#include <algorithm>

namespace {

// The next block of whole lines; `offset` moves from its start to its end. Empty at the end, or when it is to stop.
QByteArray nextBlock(const AppendedFile &log, qint64 &offset, const std::atomic<bool> &isStopping)
{
    qint64 length = EventLog::blockBytes;
    qint64 begin = offset; // beyond the offset only inside a line that is too long
    while (!isStopping) {
        QByteArray bytes = log.read(begin, length);
        if (const qsizetype end = bytes.lastIndexOf('\n') + 1; end > 0) {
            // A line that is too long is skipped; this is its end.
            const qsizetype first = begin > offset ? bytes.indexOf('\n') : 0;
            offset = begin + end;
            bytes.truncate(end);
            return bytes.remove(0, first);
        }
        if (bytes.size() < length)
            return {};
        if (length < EventLog::longestLineBytes)
            length *= 2;
        else
            begin += length;
    }
    return {};
}

// Of a block, except empty ones.
auto linesOf(const QByteArray &block)
{
    return QLatin1StringView(QByteArrayView(block)).tokenize(u'\n', Qt::SkipEmptyParts);
}

} // namespace

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
        qCDebug(intakeLog) << "another log: it has only" << log.size() << "bytes, not" << *m_position;
        m_position = 0;
    }
    for (qint64 end = *m_position; !m_isStopping;) {
        const QByteArray block = nextBlock(log, end, m_isStopping);
        if (block.isEmpty())
            return;
        qCDebug(intakeLog) << "read up to" << end;
        for (const QByteArrayView line : linesOf(block)) {
            if (const std::optional<HookEvent> event = HookEvent::decode(line))
                moveTo(end - (block.end() - line.end()) + 1, event);
            else
                qCDebug(intakeLog) << "no event:" << line.first(qMin<qsizetype>(line.size(), 200)).toByteArray();
            if (m_isStopping)
                return;
        }
        if (m_position != end)
            moveTo(end);
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
    const QByteArray block = nextBlock(AppendedFile(m_path), m_scanned, m_isStopping);
    return !block.isEmpty() && std::ranges::all_of(linesOf(block), visit);
}
