#pragma once

#include "Plumtide/intake/HookEvent.h"
#include "Plumtide/model/AgentTask.h"
#include "Plumtide/model/ProjectGroup.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/system/HomeLock.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class EventWatcher;
class MainThreadQueue;
class TaskFile;

/// The sole owner of all task lines: keeps them in `tasks.json`, applies the agents' events to them, closes lines
/// whose agent has gone, and answers what the views show.
/// Thread: the main thread, for everything. Its source is one file a concern: TaskStore.cpp (state and
/// persistence), EventApplication.cpp, Sweep.cpp and BoardQueries.cpp (queries and the user's edits).
/// Errors: none reach the caller. A save that fails is one line on standard error, the lines in memory stay, and
/// the next change saves again.
class TaskStore final : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::seconds sweepInterval{60};

    /// Puts a notification in front of the user; called with the title, the body and an identifier that replaces an
    /// earlier notification of the same one. Must return at once.
    using Notify = std::function<void(const QString &title, const QString &body, const QString &id)>;

    /// The store of the process, made on first use from the real environment. It lives until the process ends.
    static TaskStore &shared();

    /// Loads `tasks.json`, and starts to follow the events log and to sweep. Where another process owns the data
    /// directory it does none of this: it stays empty, reads no event and writes no file.
    explicit TaskStore(Environment environment, QObject *parent = nullptr);
    ~TaskStore() override; ///< As `finish`.

    /// Without it nothing is notified.
    void setNotify(Notify notify) { m_notify = std::move(notify); }

    /// Follows the log no further, applies every event that was taken from it, waits for the file to be on the disk,
    /// and gives the data directory up: nothing is saved from then on. For the end of the program.
    void finish();

    [[nodiscard]] bool isOwner() const { return m_lock.isOwner(); } ///< Of the data directory.
    [[nodiscard]] const QString &tavvelDir() const { return m_tavvelDir; }
    /// The data directory of the user whose home directory is `home`.
    [[nodiscard]] static QString tavvelDirIn(const QString &home);
    [[nodiscard]] QString tasksFile() const;
    [[nodiscard]] QString eventsFile() const;

    [[nodiscard]] const QList<AgentTask> &tasks() const { return m_tasks; } ///< All lines, in stored order.
    void setTasks(QList<AgentTask> tasks);
    [[nodiscard]] std::optional<TaskSource> sourceFilter() const { return m_sourceFilter; } ///< Absent: all sources.
    void setSourceFilter(std::optional<TaskSource> source);
    [[nodiscard]] bool hasSeenClaudeEvent() const { return m_hasSeenClaudeEvent; }
    [[nodiscard]] bool hasSeenCodexEvent() const { return m_hasSeenCodexEvent; }

    void apply(const HookEvent &event); ///< One event of the log: finds or makes its line and changes it.
    void sweep();                       ///< Warns of silent lines, closes those whose agent is gone, drops old ones.

    [[nodiscard]] int urgentCount() const;   ///< Whatever the source filter says.
    [[nodiscard]] int idleLineCount() const; ///< Shelved and faded lines, under the source filter.
    /// The lines of one status that are not faded, under the source filter: urgent ones first, then the longest
    /// wait first for waiting lines and the latest change first for others.
    [[nodiscard]] QList<AgentTask> tasks(AgentTaskStatus in) const;
    /// One group a project, in no order, of the lines that are not done, under the source filter.
    [[nodiscard]] QList<ProjectGroup> projectGroups() const;
    /// The groups of one section: those with urgent lines first, then the latest change first, then by name.
    [[nodiscard]] QList<ProjectGroup> projectGroups(ProjectSection in) const;
    /// Those of all three, in the order of `allProjectSections`, for little more than the price of one.
    [[nodiscard]] std::array<QList<ProjectGroup>, allProjectSections.size()> sections() const;

    void upsert(AgentTask task); ///< Stores a line from the edit form, with the current time.
    void setStatus(const QString &id, AgentTaskStatus status);

Q_SIGNALS:
    void objectWillChange(); ///< Before each change of a published field, and at the end of each sweep.

private:
    void load();
    void save();
    void refreshEventStateFromLog();
    void markEventSeen(TaskSource source);
    void startWatching();

    /// Every change of a line ends in one of these, and each saves.
    void replaceLine(qsizetype index, AgentTask line);
    void appendLine(AgentTask line);

    [[nodiscard]] qsizetype indexOf(const QString &id) const; // -1 when there is none
    void addEvent(AgentTask &line, const QString &text, const QDateTime &at) const;
    void notify(const QString &title, const QString &body, const QString &id) const;
    [[nodiscard]] QDateTime now() const { return m_environment.clock(); }
    [[nodiscard]] bool passesFilter(const AgentTask &line) const;

    void warnOfStuckLines();
    void closeLinesOfEndedSessions();
    void closeSilentLines();
    void purgeOldLines();
    void closeLine(qsizetype index, const QString &reason);

    const Environment m_environment;
    const QString m_tavvelDir;
    HomeLock m_lock;
    Notify m_notify;

    QList<AgentTask> m_tasks;
    std::optional<TaskSource> m_sourceFilter;
    bool m_hasSeenClaudeEvent = false;
    bool m_hasSeenCodexEvent = false;
    bool m_loaded = false; // until then nothing is saved: an empty list must never replace the file
    QSet<QString> m_stuckNotified;

    std::unique_ptr<TaskFile> m_file;
    std::unique_ptr<MainThreadQueue> m_events; // on their way from the watcher's thread
    std::unique_ptr<EventWatcher> m_watcher;
    QTimer m_sweepTimer;
};
