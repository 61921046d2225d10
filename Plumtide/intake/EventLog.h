#pragma once

#include "Plumtide/intake/HookEvent.h"

#include <QString>

#include <atomic>
#include <functional>
#include <optional>

/// Reads the events log from where the last read ended. A position is a number of bytes from the start of the file; it
/// always stands just past a line feed, or at 0. Whoever applies the events stores it.
/// Thread: one thread at a time, except `stopReading`. Memory: a block, or the line that is longer than one.
class EventLog
{
public:
    static constexpr qint64 rotateAboveBytes = 10'000'000;
    static constexpr qint64 blockBytes = 32 * 1024;
    /// A longer line is passed over like one that does not decode. The hook scripts write a few kilobytes.
    static constexpr qint64 longestLineBytes = 16 * 1024 * 1024;

    /// An event and the position past its line. Without an event only the position has moved: over lines that hold
    /// none, or to another place in the log.
    using OnEvent = std::function<void(const std::optional<HookEvent> &event, qint64 position)>;

    /// `position` is the last one that was stored; nothing where it is not known: then reading begins at the end that
    /// the log has at the first call.
    EventLog(QString path, std::optional<qint64> position, OnEvent onEvent);

    /// Hands over every complete line that was not read yet, in file order. Lines that do not decode are dropped. What
    /// cannot be opened or read now is left for the next call; a log that is shorter than the position is read from its
    /// start.
    void readNewLines();

    /// Empties a log of more than `rotateAboveBytes` that has been read to its end and that nobody else has open.
    void rotateIfNeeded();

    /// Makes a running call return soon, `readNewLines` after the line that it is at. Any thread.
    void stopReading() { m_isStopping = true; }

    /// Whether `rotateIfNeeded` has something to do, unless somebody else has the log open.
    [[nodiscard]] bool isReadAndLarge() const;

    /// Calls `visit` with the next lines, some kilobytes of them, from the start of the log on, without moving the
    /// position. False when there are no more, or `visit` returned false because it wants none.
    bool lookBack(const std::function<bool(QByteArrayView)> &visit);

private:
    void moveTo(qint64 position, const std::optional<HookEvent> &event = {});

    const QString m_path;
    std::optional<qint64> m_position;
    const OnEvent m_onEvent;
    qint64 m_lookedBack = 0; // up to here
    std::atomic<bool> m_isStopping = false;
};
