#include "Plumtide/store/TaskStore.h"

#include "Plumtide/intake/ClaudeRecords.h"
#include "Plumtide/intake/CodexThreads.h"
#include "Plumtide/intake/EventWatcher.h"
#include "Plumtide/system/Log.h"

#include <QDeadlineTimer>
#include <QScopedValueRollback>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString offsetKey = u"tavvel.events.offset"_s;
const std::array seenKeys{u"tavvel.claude.hasSeenEvent"_s, u"tavvel.codex.hasSeenEvent"_s}; // by whether it is Codex's

} // namespace

TaskStore::TaskStore(Environment &environment)
    : m_environment(environment),
      m_records(m_board, m_environment.processExists, m_environment.home + u"/.claude/projects"_s),
      m_file(m_environment.home + u"/.tavvel/tasks.json"_s, m_environment.defaults.paths())
{
    m_board.set(m_file.load());
    qCDebug(storeLog) << "loaded" << tasks().size() << "lines";
    QMetaObject::invokeMethod(this, &TaskStore::startWatching, Qt::QueuedConnection);
}

TaskStore::~TaskStore()
{
    m_events.close(); // first: the watcher may be waiting for room
    m_watcher.reset();
    if (m_hasUnsavedChanges)
        save(); // the disk may have room again
    m_environment.defaults.retryWrite();
}

void TaskStore::setTasks(QList<AgentTask> tasks)
{
    for (AgentTask &line : tasks)
        line = storable(line, now());
    setLines(tasks);
}

void TaskStore::setSourceFilter(std::optional<TaskSource> source)
{
    Q_EMIT objectWillChange();
    m_board.setSourceFilter(source);
}

void TaskStore::apply(const HookEvent &event)
{
    qCDebug(storeLog) << event.hookEventName.value_or(QString()) << "of" << event.sessionId.value_or(QString());
    if (event.hookEventName)
        markEventSeen(event.isCodex());
    m_records.observe(event);
    setFolder(event.lineId(), event.cwd.value_or(QString()));
    const bool isIgnored = m_records.shouldIgnore(event);
    if (!isIgnored)
        applyChanges(m_board.apply(event, now()));
    if (isIgnored || event.hookEventName == EventName::request) {
        if (const std::optional<HookEvent> request = m_records.requestOnScreen(event.lineId()))
            applyChanges(m_board.showRequest(*request));
    }
}

void TaskStore::updateRecord(const SessionRecord &before, const SessionRecord &record)
{
    m_records.updateRecord(before, record);
    if (record.cwd != before.cwd) // else an event may know a later one
        setFolder(record.lineId(), record.cwd);
    scheduleMismatchCheck(before.lineId());
    scheduleMismatchCheck(record.lineId());
}

void TaskStore::setFolder(const QString &line, const QString &folder)
{
    if (folder.isEmpty() || folder == m_folders.value(line))
        return;
    Q_EMIT objectWillChange();
    m_folders[line] = folder;
}

QString TaskStore::shownFolder(const QString &id) const
{
    constexpr qsizetype most = 600; // as `shortened` cuts it, but the end of a path says more than its middle
    QString path = folder(id);
    if (const QString &home = m_environment.home; path == home || path.startsWith(home + u'/'))
        path.replace(0, home.size(), u'~');
    return path.size() > most ? path.replace(most / 2, path.size() - most + 1, u'…') : path;
}

void TaskStore::scheduleMismatchCheck(const QString &line)
{
    m_records.updateMismatch(line, now());
    startMissedTimer();
}

void TaskStore::startMissedTimer()
{
    // The delay is measured on the user's clock, which may be set meanwhile: hence the bounds, and a little more.
    if (const std::optional<QDateTime> due = m_records.nextMissedAt()) {
        const std::chrono::milliseconds left(now().msecsTo(*due)), most = AgentRecords::settleDelay;
        const auto timeout = qBound(0ms, left, most) + 50ms;
        if (!m_missedTimer.isActive() || timeout < m_missedTimer.remainingTimeAsDuration())
            m_missedTimer.start(timeout);
    }
}

void TaskStore::applyMissedEvents()
{
    const QDeadlineTimer end(MainThreadQueue::turnBudget);
    while (const std::optional<HookEvent> event = m_records.nextMissedEvent(now())) {
        qCDebug(storeLog) << "a missed event, by the record of" << event->sessionId.value_or(QString());
        applyChanges(m_board.apply(*event, now()));
        if (end.hasExpired())
            return m_missedTimer.start(0ms); // the rest in the next turn of the event loop
    }
    startMissedTimer();
}

void TaskStore::archiveReplied(ProjectSection in)
{
    QStringList replied;
    const Board::Sections all = sections();
    for (const ProjectGroup *group : all[static_cast<std::size_t>(in)]) {
        for (const AgentTask &line : group->lines)
            replied += line.hasReplied() ? QStringList(line.id) : QStringList();
    }
    applyChanges(m_board.setStatus(replied, AgentTaskStatus::done, now()));
}

void TaskStore::giveDeferredNotices()
{
    const QMap<QString, Board::Notice> notices = *std::exchange(m_deferredNotices, std::nullopt);
    for (const Board::Notice &notice : notices)
        notify(notice);
    m_notifications.advance();
}

void TaskStore::sweep()
{
    applyChanges(m_board.sweep(now(), [this](const QString &line) { return m_records.hasEnded(line); }));
    setLines(m_board.linesToKeep(now()));
    if (!isCatchingUp())
        m_notifications.advance();
    m_environment.defaults.retryWrite(); // if it has failed before
    if (m_watcher)
        m_watcher->start(); // if it has failed before
    m_file.startFlushing(); // at once, so that the flush needs no wake-up of its own
    // What the views show depends also on the time.
    Q_EMIT objectWillChange();
}

void TaskStore::applyChanges(const Board::Changes &changes)
{
    Q_ASSERT_X(!m_isApplying, "TaskStore", "changed from inside a change");
    const QScopedValueRollback applying(m_isApplying, true);
    for (const Board::Notice &notice : changes.notices)
        notify(notice);
    for (const Board::Edit &edit : changes.edits) {
        Q_EMIT objectWillChange();
        qCDebug(storeLog) << edit.line.id << "is now" << storedText(edit.line.status);
        const AgentTask before = tasks().value(edit.index, edit.line);
        if (before.isUrgent() && !edit.line.isUrgent())
            notify({Board::Notice::Kind::approval, before.id});
        if (before.hasReplied() && !edit.line.hasReplied())
            notify({Board::Notice::Kind::replied, before.id});
        // A warning of the same sweep stays, also if the sweep ends the line.
        const Board::Notice warning{Board::Notice::Kind::stuck, before.id};
        if (before.isStuck(now()) && !std::ranges::count(changes.notices, warning.id(), &Board::Notice::id))
            notify(warning);
        m_board.applyEdit(edit);
        m_file.lineChanged(edit.index);
        scheduleMismatchCheck(edit.line.id);
    }
    if (!changes.edits.isEmpty())
        save();
    for (const QString &id : changes.ended)
        m_notifications.setLineMuted(id, false);
}

void TaskStore::notify(const Board::Notice &notice)
{
    if (m_deferredNotices)
        return void(m_deferredNotices->insert(notice.id(), notice));
    qCDebug(storeLog) << (notice.body.isEmpty() ? "withdraw" : "notify") << notice.id();
    m_notifications.receive(notice);
}

void TaskStore::setLines(const QList<AgentTask> &lines)
{
    Q_ASSERT_X(!m_isApplying, "TaskStore", "changed from inside a change");
    if (lines != m_board.lines()) {
        const QScopedValueRollback applying(m_isApplying, true);
        Q_EMIT objectWillChange();
        m_board.set(lines);
        m_file.linesChanged();
    }
    m_folders.removeIf([this](auto known) { return m_board.indexOf(known.key()) == tasks().size(); });
    save();
}

void TaskStore::save()
{
    const Outcome<void> saved = m_file.save(m_board.lines());
    m_hasUnsavedChanges = !saved;
    if (!saved)
        std::fprintf(stderr, "Plumtide: 保存 tasks.json 失败 — %s\n", qUtf8Printable(saved.failure().sentence));
}

void TaskStore::refreshEventState()
{
    EventLog log(eventsFile(), 0, {});
    const auto visit = eventStateVisitor([this](bool isCodex) { markEventSeen(isCodex); });
    while (log.scanHistory(visit)) {
    }
}

std::function<bool(QByteArrayView)> TaskStore::eventStateVisitor(std::function<void(bool isCodex)> onSeen)
{
    return [onSeen, isSeen = std::array{hasSeenClaudeEvent(), hasSeenCodexEvent()}](QByteArrayView line) mutable {
        if (isSeen[0] && isSeen[1])
            return false;
        // Decoding takes long, and most logs hold only Claude Code's events. Once that is seen, only lines count that
        // contain "Codex", which JSON may write with an escape.
        if (isSeen[0] && !line.contains("Codex") && !line.contains("\\u00"))
            return true;
        const std::optional<HookEvent> event = HookEvent::decode(line);
        if (event && event->hookEventName && !std::exchange(isSeen[event->isCodex()], true))
            onSeen(event->isCodex());
        return true;
    };
}

bool TaskStore::hasSeenEvent(bool isCodex) const
{
    return m_environment.defaults.boolean(seenKeys[isCodex]);
}

void TaskStore::markEventSeen(bool isCodex)
{
    if (hasSeenEvent(isCodex))
        return;
    Q_EMIT objectWillChange();
    m_environment.defaults.setBoolean(seenKeys[isCodex], true);
}

std::optional<qint64> TaskStore::storedPosition() const
{
    constexpr double limit = 9223372036854775808.0; // 2^63, the first number that qint64 cannot hold
    const std::optional<double> offset = m_environment.defaults.number(offsetKey);
    if (!offset && !m_environment.defaults.isReadable())
        return std::nullopt;
    return offset > 0 && offset < limit ? static_cast<qint64>(*offset) : 0;
}

void TaskStore::startWatching()
{
    // The queue and the watcher end with the store, so `this` outlives every call.
    const auto onEvent = [this](const std::optional<HookEvent> &event, qint64 position) {
        m_events.post([this, event, position] {
            // Both in one turn: an end of the process between two turns loses no event. The position comes first: a
            // kill between the two loses one event, and applies none twice.
            m_environment.defaults.setNumber(offsetKey, static_cast<double>(position));
            if (event)
                apply(*event);
        });
    };
    const auto onRecord = [this](const SessionRecord &before, const SessionRecord &now) {
        m_events.post([this, before, now] { updateRecord(before, now); });
    };
    const auto onCaughtUp = [this] { m_events.post([this] { giveDeferredNotices(); }); };
    const auto onHistory = eventStateVisitor( // on the watcher's thread: a log may be long
        [this](bool isCodex) { m_events.post([this, isCodex] { markEventSeen(isCodex); }); });
    const QString &home = m_environment.home;
    QStringList known; // sessions of Codex
    for (const AgentTask &line : tasks())
        known += line.agent() == TaskSource::codex ? QStringList(line.session()) : QStringList();
    SessionFollowers sessions;
    sessions.push_back(std::make_unique<ClaudeRecords>(home + u"/.claude/sessions"_s, onRecord));
    sessions.push_back(std::make_unique<CodexThreads>(home + u"/.codex"_s, known, onRecord));
    m_watcher = std::make_unique<EventWatcher>(eventsFile(), storedPosition(), std::move(sessions),
                                               EventWatcher::Handlers{onEvent, onCaughtUp, onHistory});
    m_watcher->start();

    m_missedTimer.setSingleShot(true);
    m_missedTimer.setTimerType(Qt::PreciseTimer);
    m_missedTimer.callOnTimeout(this, &TaskStore::applyMissedEvents);
    m_sweepTimer.callOnTimeout(this, &TaskStore::sweep);
    m_sweepTimer.start(sweepInterval);
}
