#pragma once

#include "Plumtide/intake/HookEvent.h"

#include <QString>

#include <atomic>
#include <functional>
#include <optional>

/// Reads the events log from where the last read ended. A position is a number of bytes from the start of the file,
/// just past a line feed or 0. The receiver of the events stores it.
/// Thread: one thread at a time, except `stopReading`. Memory: one block, or one line that is longer than a block.
class EventLog
{
public:
    static constexpr qint64 rotateAboveBytes = 10'000'000;
    static constexpr qint64 blockBytes = 32 * 1024;
    /// A longer line is skipped like one that does not decode. The hook scripts write a few kilobytes.
    static constexpr qint64 longestLineBytes = 16 * 1024 * 1024;

    /// An event and the position past its line; no event for lines that are skipped and for a log that was replaced.
    using OnEvent = std::function<void(const std::optional<HookEvent> &event, qint64 position)>;

    /// `position` is the one that was stored last. If it is not known, reading begins at the end of the log.
    EventLog(QString path, std::optional<qint64> position, OnEvent onEvent)
        : m_path(std::move(path)), m_position(position), m_onEvent(std::move(onEvent))
    {
    }

    /// Hands over every complete line that was not read yet, in file order, except those that do not decode. What
    /// cannot be read is tried again by the next call. A log that is shorter than the position is read from its start.
    void readNewLines();

    /// Whether the log has more than `rotateAboveBytes` and has been read to its end.
    [[nodiscard]] bool needsRotation() const;
    void rotateIfNeeded(); ///< Truncates such a log if no other process has it open.

    /// Makes a running call return soon, `readNewLines` after the current line. Any thread.
    void stopReading() { m_isStopping = true; }

    /// Receives a line, without its line feed; false to receive no more.
    using Visit = std::function<bool(QByteArrayView line)>;
    /// Visits the next block of lines, from the log's start on. False after the last, and when `visit` returned false.
    bool scanHistory(const Visit &visit);

private:
    void moveTo(qint64 position, const std::optional<HookEvent> &event = {});

    const QString m_path;
    std::optional<qint64> m_position;
    const OnEvent m_onEvent;
    qint64 m_scanned = 0; // bytes, by `scanHistory`
    std::atomic<bool> m_isStopping = false;
};
