#pragma once

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/system/Defaults.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>

/// Reads the events log from where the last read ended. The position, in bytes from the start of the file, is kept
/// in the per-user defaults under "tavvel.events.offset"; it always stands just past a line feed, or at 0.
/// Thread: one thread at a time, except `stopReading`. Memory: a block, or the line that is longer than one.
class EventLog
{
public:
    static constexpr qint64 rotateAboveBytes = 10'000'000;
    /// Small, since the events of a block whose position is stored are lost if the process is killed just then.
    static constexpr qint64 blockBytes = 32 * 1024;
    /// A longer line is passed over like one that does not decode. The hook scripts write a few kilobytes.
    static constexpr qint64 longestLineBytes = 16 * 1024 * 1024;

    using OnEvent = std::function<void(const HookEvent &)>;

    EventLog(QString path, std::shared_ptr<Defaults> defaults, OnEvent onEvent);

    /// Hands over every complete line that was not read yet, in file order. The position is stored before the lines
    /// of a block are decoded: an event is never delivered twice, and one is lost only if the process is killed
    /// between the two. Lines that do not decode are dropped. What cannot be opened or read now is left for the
    /// next call; a log that is shorter than the position is read from its start. Where the defaults cannot be read,
    /// reading begins at the end that the log has now.
    void readNewLines();

    /// Empties a log of more than `rotateAboveBytes` that has been read to its end and that nobody else has open.
    void rotateIfNeeded();

    /// Makes a running call return soon, `readNewLines` after the lines whose position it has stored. Any thread.
    void stopReading() { m_isStopping = true; }

    /// Whether `rotateIfNeeded` has something to do, unless somebody else has the log open.
    [[nodiscard]] bool isReadAndLarge() const;

    /// Calls `visit` with the next lines, some kilobytes of them, from the start of the log on, without moving the
    /// position. False when there are no more, or `visit` returned false because it wants none.
    bool lookBack(const std::function<bool(QByteArrayView)> &visit);

private:
    [[nodiscard]] qint64 storedOffset() const;
    void handOver(QByteArrayView line) const;

    const QString m_path;
    const std::shared_ptr<Defaults> m_defaults;
    const OnEvent m_onEvent;
    qint64 m_lookedBack = 0; // up to here
    std::atomic<bool> m_isStopping = false;
};
