#pragma once

#include "Plumtide/store/AgentRecords.h"
#include "Plumtide/store/Board.h"
#include "Plumtide/store/NotificationFilter.h"
#include "Plumtide/store/TaskFile.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/system/MainThreadQueue.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>

class EventWatcher;

/// The owner of all task lines: loads and saves them, applies the agents' events and the user's changes, and announces
/// each change.
/// Errors: none reach the caller. A save that fails is one line on standard error; the lines in memory stay, and are
/// saved by the next change, the next sweep, or at the end.
class TaskStore final : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::seconds sweepInterval{60};

    /// Loads `tasks.json`, and from the first turn of the event loop on follows the events log and sweeps. The process
    /// holds the HomeLock. `environment` must outlive the store.
    explicit TaskStore(Environment &environment);
    /// Saves what could not be saved before, and waits for the disk. What was not applied is for the next start.
    ~TaskStore() override;

    /// Receives the notices of the board. Those of events that were in the log at the start are deferred until all of
    /// these are applied; only the last of each id is then given.
    [[nodiscard]] NotificationFilter &notifications() { return m_notifications; }

    [[nodiscard]] const QList<AgentTask> &tasks() const { return m_board.lines(); } ///< All lines, in stored order.
    void setTasks(QList<AgentTask> tasks);
    [[nodiscard]] std::optional<AgentTask> task(const QString &id) const { return m_board.line(id); }
    [[nodiscard]] std::optional<TaskSource> sourceFilter() const { return m_board.sourceFilter(); } ///< Absent: all.
    void setSourceFilter(std::optional<TaskSource> source);
    [[nodiscard]] bool hasSeenClaudeEvent() const { return hasSeenEvent(false); }
    [[nodiscard]] bool hasSeenCodexEvent() const { return hasSeenEvent(true); }

    void apply(const HookEvent &event); ///< One event of the log: finds or makes its line and changes it.
    /// What an agent's record said and says now, see AgentRecords.
    void updateRecord(const SessionRecord &before, const SessionRecord &record);
    /// Makes lines agree with records from which they have differed for `AgentRecords::settleDelay`.
    void applyMissedEvents();
    [[nodiscard]] bool isCatchingUp() const { return m_deferredNotices.has_value(); } ///< With the log of the start.
    void refreshEventState(); ///< Looks for both tools in the whole log. For a process that does not follow it.
    void sweep();             ///< Warns of silent lines, closes those whose agent is gone, drops old ones.

    [[nodiscard]] int urgentCount() const { return m_board.urgentCount(now()); } ///< Whatever the source filter says.
    /// Shelved and faded lines, under the source filter.
    [[nodiscard]] int idleLineCount() const { return m_board.idleLineCount(now()); }
    /// The lines of one status that are not faded, under the source filter: urgent ones first, then the longest
    /// wait first for waiting lines and the latest change first for others.
    [[nodiscard]] QList<AgentTask> tasks(AgentTaskStatus in) const { return m_board.tasks(in, now()); }
    [[nodiscard]] int lineCount(AgentTaskStatus in) const { return m_board.lineCount(in, now()); } ///< How many.
    [[nodiscard]] std::optional<AgentTask> firstWaiting() const { return m_board.firstWaiting(now()); }
    /// The lines that are not done, under the source filter, one group a project, by section: those with urgent lines
    /// first, then the latest change first, then by name. O(projects).
    [[nodiscard]] Board::Sections sections() const { return m_board.sections(now()); }

    /// Stores a line from the edit form, with the current time.
    void upsert(AgentTask task) { applyChanges(m_board.upsert(std::move(task), now())); }
    void setStatus(const QString &id, AgentTaskStatus in) { applyChanges(m_board.setStatus({id}, in, now())); }
    /// Ends all lines of a section's projects, under the source filter, that wait only to be read.
    void archiveReplied(ProjectSection in);
    /// Undoes the last `setStatus` of this run that has shelved or ended a line, or the last `archiveReplied`, for
    /// those lines that nothing else has changed since; the one before it is the next. Does nothing when there is none.
    void undo() { applyChanges(m_board.undo()); }
    [[nodiscard]] QList<Board::Edit> undoable() const { return m_board.undoable(); } ///< What it would restore.
    /// The lines that are done, whatever the source filter says, the latest change first.
    [[nodiscard]] QList<AgentTask> lastDone(std::size_t most) const { return m_board.lastDone(most); }
    /// Where a session was last heard of in this run, absolute; empty if that is not known.
    [[nodiscard]] QString folder(const QString &id) const { return m_folders.value(id); }
    [[nodiscard]] QString shownFolder(const QString &id) const; ///< With `~` for the home directory.
    /// The live process that a record of the line's session names; 0 when there is none.
    [[nodiscard]] pid_t recordedProcess(const AgentTask &line) const { return m_records.process(line.id); }

Q_SIGNALS:
    void objectWillChange(); ///< Before each change of a published field, and at the end of each sweep.

private:
    void save();
    void applyChanges(const Board::Changes &changes); // announces each edit, and saves once
    void setFolder(const QString &line, const QString &folder);
    void notify(const Board::Notice &notice);
    void setLines(const QList<AgentTask> &lines);
    void scheduleMismatchCheck(const QString &line);
    void startMissedTimer();
    void giveDeferredNotices();
    // For EventLog::scanHistory, until both tools have been seen.
    [[nodiscard]] std::function<bool(QByteArrayView line)> eventStateVisitor(std::function<void(bool isCodex)> onSeen);
    [[nodiscard]] std::optional<qint64> storedPosition() const; // in the log; nothing if unknown
    [[nodiscard]] bool hasSeenEvent(bool isCodex) const;
    void markEventSeen(bool isCodex);
    void startWatching();
    [[nodiscard]] QString eventsFile() const { return m_environment.home + QStringLiteral("/.tavvel/events.jsonl"); }
    [[nodiscard]] QDateTime now() const { return m_environment.clock(); }

    Environment &m_environment;
    std::optional<QMap<QString, Board::Notice>> m_deferredNotices{std::in_place}; // by id; only while catching up

    Board m_board;
    NotificationFilter m_notifications{m_board, m_environment};
    AgentRecords m_records;
    QHash<QString, QString> m_folders; // by the ids of lines; until a sweep, also of sessions without one
    bool m_hasUnsavedChanges = false;  // since a save failed
    bool m_isApplying = false;         // a change of the lines

    TaskFile m_file;
    MainThreadQueue m_events; // from the watcher's thread
    std::unique_ptr<EventWatcher> m_watcher;
    QTimer m_sweepTimer;
    QTimer m_missedTimer;
};
