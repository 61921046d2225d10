#include "Plumtide/store/TaskStore.h"

#include "Plumtide/intake/EventWatcher.h"
#include "Plumtide/store/Log.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

Q_LOGGING_CATEGORY(storeLog, "plumtide.store", QtWarningMsg)

namespace {

const QString offsetKey = u"tavvel.events.offset"_s;
const std::array seenKeys{u"tavvel.claude.hasSeenEvent"_s, u"tavvel.codex.hasSeenEvent"_s}; // by whether it is Codex's

} // namespace

TaskStore::TaskStore(Environment &environment, QObject *parent)
    : QObject(parent),
      m_environment(environment),
      m_tavvelDir(m_environment.home + u"/.tavvel"_s),
      m_sessions(m_board, m_environment.processExists, m_environment.home + u"/.claude/projects"_s),
      m_file(tasksFile(), m_environment.defaults.paths())
{
    m_board.set(m_file.load());
    qCDebug(storeLog) << "loaded" << tasks().size() << "lines";
    QMetaObject::invokeMethod(this, &TaskStore::startWatching, Qt::QueuedConnection);
}

TaskStore::~TaskStore()
{
    m_events.close(); // first: the watcher may be waiting for room
    m_watcher.reset();
    if (m_isBehind)
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
    if (event.hookEventName)
        markEventSeen(event.isCodex());
    const bool isDenied = m_sessions.deny(event);
    if (!isDenied)
        applyAnyway(event);
    if (isDenied || event.hookEventName == EventName::request) {
        if (const std::optional<HookEvent> request = m_sessions.requestOnScreen(event.sessionId.value_or(QString())))
            make(m_board.name(*request));
    }
}

void TaskStore::applyAnyway(const HookEvent &event)
{
    const Board::Changes changes = m_board.apply(event, now());
    qCDebug(storeLog) << event.hookEventName.value_or(QString()) << "of" << event.sessionId.value_or(QString())
                      << "changes" << changes.edits.size() << "lines";
    make(changes);
}

void TaskStore::takeRecord(const SessionRecord &before, const SessionRecord &record)
{
    m_sessions.take(before, record);
    compare(before.sessionId);
    compare(record.sessionId);
}

void TaskStore::compare(const QString &session)
{
    m_sessions.differ(session, now());
    if (!m_missedTimer.isActive())
        waitForMissedEvents();
}

void TaskStore::waitForMissedEvents()
{
    // A little later: it is the user's clock that must have gone on, which may also have been set meanwhile.
    if (const std::optional<QDateTime> due = m_sessions.nextMissedAt())
        m_missedTimer.start(qBound(0ms, std::chrono::milliseconds(now().msecsTo(*due)), ClaudeSessions::moment + 0ms)
                            + 50ms);
}

void TaskStore::applyMissedEvents()
{
    const QDeadlineTimer end(MainThreadQueue::turnBudget);
    while (const std::optional<HookEvent> event = m_sessions.nextMissedEvent(now())) {
        qCDebug(storeLog) << "by the record of" << event->sessionId.value_or(QString());
        applyAnyway(*event);
        if (end.hasExpired())
            return m_missedTimer.start(0ms); // the rest in the loop's next turn
    }
    waitForMissedEvents();
}

void TaskStore::catchUp()
{
    const QMap<QString, Board::Notice> held = *std::exchange(m_held, std::nullopt);
    for (const Board::Notice &notice : held)
        notify(notice);
}

void TaskStore::sweep()
{
    make(m_board.sweep(now(), [this](const QString &session) { return m_sessions.hasEnded(session); }));
    setLines(m_board.linesToKeep(now()));
    m_environment.defaults.retryWrite(); // where it failed before
    if (m_watcher)
        m_watcher->start(); // likewise
    m_file.startFlushing(); // and not a second later: that would wake the program once more
    // Ages and markings on the board depend on the time alone.
    Q_EMIT objectWillChange();
}

void TaskStore::setStatus(const QString &id, AgentTaskStatus status)
{
    const Board::Changes changes = m_board.setStatus(id, status, now());
    if (!changes.edits.isEmpty() && (status == AgentTaskStatus::shelved || status == AgentTaskStatus::done))
        m_history.add(tasks().at(changes.edits.last().place), changes.edits.last().line);
    make(changes);
}

void TaskStore::undo()
{
    if (const std::optional<AgentTask> line = m_history.take(m_board))
        make({{}, {{m_board.placeOf(line->id), *line}}});
}

pid_t TaskStore::recordedProcess(const QString &id) const
{
    return id.startsWith("cc-"_L1) ? m_sessions.process(id.sliced(3)) : 0;
}

void TaskStore::make(const Board::Changes &changes)
{
    for (const Board::Notice &notice : changes.notices)
        notify(notice);
    for (const Board::Edit &edit : changes.edits) {
        Q_EMIT objectWillChange();
        qCDebug(storeLog) << edit.line.id << "is now" << storedText(edit.line.status);
        const AgentTask before = tasks().value(edit.place, edit.line);
        if (before.isUrgent() && !edit.line.isUrgent())
            notify({{}, {}, u"approval-"_s + before.id});
        // What a sweep has just warned of is to be seen, also where it ends the line.
        const QString warning = u"stuck-"_s + before.id;
        if (before.isStuck(now()) && !std::ranges::count(changes.notices, warning, &Board::Notice::id))
            notify({{}, {}, warning});
        m_board.take(edit);
        m_file.lineChanged(edit.place);
        save();
        compare(edit.line.id.mid(3)); // only of "cc-" lines there are records
    }
}

void TaskStore::notify(const Board::Notice &notice)
{
    if (m_held)
        return void(m_held->insert(notice.id, notice));
    qCDebug(storeLog) << (notice.body.isEmpty() ? "withdraw" : "notify") << notice.id;
    if (m_notify)
        m_notify(notice);
}

void TaskStore::setLines(const QList<AgentTask> &lines)
{
    if (lines != m_board.lines()) {
        Q_EMIT objectWillChange();
        m_board.set(lines);
        m_file.linesChanged();
    }
    save();
}

void TaskStore::save()
{
    const Outcome<void> saved = m_file.save(m_board.lines());
    m_isBehind = !saved;
    if (m_isBehind)
        std::fprintf(stderr, "Plumtide: 保存 tasks.json 失败 — %s\n", qUtf8Printable(saved.failure().sentence));
}

void TaskStore::refreshEventState()
{
    EventLog log(eventsFile(), 0, {});
    const auto visit = eventStateVisitor([this](bool isCodex) { markEventSeen(isCodex); });
    while (visit && log.scanHistory(visit)) {
    }
}

std::function<bool(QByteArrayView)> TaskStore::eventStateVisitor(std::function<void(bool isCodex)> onSeen)
{
    if (hasSeenClaudeEvent() && hasSeenCodexEvent())
        return {};
    return [onSeen, isClaudeKnown = hasSeenClaudeEvent(), isCodexKnown = hasSeenCodexEvent()](auto line) mutable {
        // Most logs hold only one tool's events. Once that tool is known, a line that does not even mention the
        // other one (which JSON might write with an escape) need not be decoded.
        if (isClaudeKnown && !line.contains("Codex") && !line.contains("\\u00"))
            return true;
        const std::optional<HookEvent> event = HookEvent::decode(line);
        if (!event || !event->hookEventName)
            return true;
        if (!std::exchange(event->isCodex() ? isCodexKnown : isClaudeKnown, true))
            onSeen(event->isCodex());
        return !isClaudeKnown || !isCodexKnown;
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
    constexpr double limit = 9223372036854775808.0; // 2^63: a file cannot be longer
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
            // In one turn, so that an end of the process at any other moment loses nothing. First, so that a kill
            // between the two loses one event instead of applying it twice.
            m_environment.defaults.setNumber(offsetKey, static_cast<double>(position));
            if (event)
                apply(*event);
        });
    };
    const auto onRecord = [this](const SessionRecord &before, const SessionRecord &now) {
        m_events.post([this, before, now] { takeRecord(before, now); });
    };
    const auto onCaughtUp = [this] { m_events.post([this] { catchUp(); }); };
    const auto onHistory = eventStateVisitor( // on the watcher's thread: a log may have a gigabyte
        [this](bool isCodex) { m_events.post([this, isCodex] { markEventSeen(isCodex); }); });
    m_watcher =
        std::make_unique<EventWatcher>(eventsFile(), storedPosition(), m_environment.home + u"/.claude/sessions"_s,
                                       EventWatcher::Handlers{onEvent, onRecord, onCaughtUp, onHistory});
    m_watcher->start();

    m_missedTimer.setSingleShot(true);
    m_missedTimer.setTimerType(Qt::PreciseTimer);
    m_missedTimer.callOnTimeout(this, &TaskStore::applyMissedEvents);
    m_sweepTimer.callOnTimeout(this, &TaskStore::sweep);
    m_sweepTimer.start(sweepInterval);
}
