#include "Plumtide/intake/EventLog.h"

#include "Plumtide/system/Descriptor.h"

#include <QFile>

#include <cerrno>
#include <cmath>
#include <optional>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString offsetKey = u"tavvel.events.offset"_s;

// The pieces between line feeds, the empty ones left out. `chunk` ends with a line feed.
template <typename Visit>
bool forEachPiece(QByteArrayView chunk, Visit visit)
{
    for (qsizetype begin = 0; begin < chunk.size();) {
        const qsizetype end = chunk.indexOf('\n', begin);
        if (end > begin && !visit(chunk.sliced(begin, end - begin)))
            return false;
        begin = end + 1;
    }
    return true;
}

} // namespace

// The open log and the chunks of whole lines in it.
class EventLog::Reader
{
public:
    explicit Reader(const QString &path)
    {
        // Without O_NONBLOCK a FIFO in the log's place would hold the thread for ever.
        m_file = Descriptor(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
        if (m_file.isOpen() && (::fstat(m_file.get(), &m_status) != 0 || !S_ISREG(m_status.st_mode)))
            m_file.reset();
    }

    [[nodiscard]] bool isOpen() const { return m_file.isOpen(); }
    [[nodiscard]] qint64 size() const { return m_status.st_size; }

    struct Chunk
    {
        qint64 length = 0;    // bytes of the log, up to and including a line feed
        QByteArrayView lines; // those bytes, valid until the next call; empty when a line was too long
    };

    /// The whole lines at `offset`, about a block of them; nothing when not even one is complete.
    std::optional<Chunk> next(qint64 offset, PartialLine &partial)
    {
        const bool isKnown = partial.start == offset && partial.scannedTo > offset && partial.inode == m_status.st_ino
            && partial.device == m_status.st_dev && partial.scannedTo <= m_status.st_size;
        if (!isKnown) {
            readBlock(offset, blockBytes);
            const qsizetype lastLineFeed = m_block.lastIndexOf('\n');
            if (lastLineFeed >= 0)
                return Chunk{lastLineFeed + 1, QByteArrayView(m_block).first(lastLineFeed + 1)};
            partial = {m_status.st_dev, m_status.st_ino, offset, offset + m_block.size()};
        }

        // Not a whole line in the first block, or no line feed in what an earlier call saw.
        const qint64 lineFeed = findLineFeed(partial.scannedTo);
        if (lineFeed < 0)
            return std::nullopt;
        const qint64 lineLength = lineFeed - offset + 1;
        if (lineLength > longestLineBytes)
            return Chunk{lineLength, {}};
        readBlock(offset, qMax(blockBytes, lineLength));
        const qsizetype lastLineFeed = m_block.lastIndexOf('\n');
        if (lastLineFeed < 0)
            return std::nullopt; // cut short while we looked
        return Chunk{lastLineFeed + 1, QByteArrayView(m_block).first(lastLineFeed + 1)};
    }

private:
    // At most `length` bytes at `offset`, fewer only at the end that the file had when it was opened (or where it
    // cannot be read). What was appended since is reported anew.
    void readBlock(qint64 offset, qint64 length)
    {
        length = qBound<qint64>(0, m_status.st_size - offset, length);
        m_block.resize(length);
        qint64 done = 0;
        while (done < length) {
            const ssize_t count =
                ::pread(m_file.get(), m_block.data() + done, static_cast<size_t>(length - done), offset + done);
            if (count > 0)
                done += count;
            else if (count == 0 || errno != EINTR)
                break;
        }
        m_block.truncate(done);
    }

    // The place of the first line feed at or after `position`, which moves on past everything without one; -1 when
    // there is none yet.
    qint64 findLineFeed(qint64 &position)
    {
        for (;;) {
            readBlock(position, blockBytes);
            if (m_block.isEmpty())
                return -1;
            const qsizetype found = m_block.indexOf('\n');
            if (found >= 0)
                return position + found;
            position += m_block.size();
        }
    }

    Descriptor m_file;
    struct stat m_status = {};
    QByteArray m_block;
};

EventLog::EventLog(QString path, std::shared_ptr<Defaults> defaults, OnEvent onEvent)
    : m_path(std::move(path)), m_defaults(std::move(defaults)), m_onEvent(std::move(onEvent))
{
}

void EventLog::readNewLines()
{
    Reader reader(m_path);
    if (!reader.isOpen())
        return;
    qint64 offset = storedOffset();
    if (reader.size() == offset || (reader.size() < offset && reader.size() == 0))
        return;
    if (reader.size() < offset)
        offset = 0;

    while (!m_isStopping && offset < reader.size()) {
        const std::optional<Reader::Chunk> chunk = reader.next(offset, m_partial);
        if (!chunk)
            return;
        offset += chunk->length;
        m_defaults->setNumber(offsetKey, static_cast<double>(offset), Files::Flush::Later);
        forEachPiece(chunk->lines, [this](QByteArrayView line) {
            if (const std::optional<HookEvent> event = HookEvent::decode(line))
                m_onEvent(*event);
            return true;
        });
    }
}

void EventLog::rotateIfNeeded()
{
    const Descriptor log(::open(QFile::encodeName(m_path).constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!log.isOpen())
        return;
    const qint64 offset = storedOffset();
    // A log shorter than the position is another file than the one that was read: its lines are still to come.
    const auto isReadToItsEnd = [&log, offset] {
        struct stat status = {};
        return ::fstat(log.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > rotateAboveBytes
            && status.st_size == offset;
    };
    if (!isReadToItsEnd())
        return;
    // A write lease is granted only while nobody else has the file open, and an opener waits until it is given back:
    // no hook can append between the look and the cut. It is broken by a signal, SIGIO (which would end us) unless
    // another is asked for; SIGURG is ignored. Where there are no leases the interval stays open.
    ::fcntl(log.get(), F_SETSIG, SIGURG);
    const bool isLeased = ::fcntl(log.get(), F_SETLEASE, F_WRLCK) == 0;
    const bool isInUse = !isLeased && errno == EAGAIN;
    if (!isInUse && isReadToItsEnd() && ::ftruncate(log.get(), 0) == 0)
        m_defaults->setNumber(offsetKey, 0, Files::Flush::Later);
    if (isLeased)
        ::fcntl(log.get(), F_SETLEASE, F_UNLCK);
}

void EventLog::forEachLine(const QString &path, const std::function<bool(QByteArrayView)> &visit)
{
    Reader reader(path);
    if (!reader.isOpen())
        return;
    PartialLine partial;
    qint64 offset = 0;
    while (const std::optional<Reader::Chunk> chunk = reader.next(offset, partial)) {
        offset += chunk->length;
        if (!forEachPiece(chunk->lines, visit))
            return;
    }
}

qint64 EventLog::storedOffset() const
{
    constexpr double limit = 9223372036854775808.0; // 2^63: a file cannot be longer
    const double offset = m_defaults->number(offsetKey).value_or(0);
    return offset > 0 && offset < limit ? static_cast<qint64>(offset) : 0;
}
