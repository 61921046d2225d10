#include "Plumtide/intake/CodexThreads.h"

#include "Plumtide/system/Log.h"

#include <QDir>
#include <QtMath>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Milliseconds. A process may begin so long after its call, and its output may come so long after its end; the
// processes are looked at so often; a lock may be taken so long after its file was opened.
constexpr double callDelay = 800, lookInterval = 1000, lockDelay = 1000;

} // namespace

CodexThreads::CodexThreads(const QString &folder, const QStringList &sessions, OnChange onChange, Clock clock)
    : SessionFollower(std::move(onChange)),
      m_locks(folder + u"/thread-writer-locks"_s),
      m_sessions(folder + u"/sessions"_s),
      m_clock(std::move(clock))
{
    for (const QString &session : sessions)
        m_known.insert(session, {.agent = TaskSource::codex, .sessionId = session});
}

std::chrono::milliseconds CodexThreads::read(FileWatch &watch)
{
    const auto now = static_cast<double>(m_clock().toMSecsSinceEpoch());
    const auto changed = watch.attachFolder(m_locks, IN_OPEN | IN_CLOSE | IN_CREATE | IN_MOVE | IN_DELETE, 1);
    const bool isChanged = changed ? !changed->isEmpty() : QDir(m_locks).exists();
    if (isChanged || now >= m_settledAt) { // at no other time: the reading of the folder is reported, too
        m_areLocksKnown = readLocks(now);
        m_settledAt = isChanged && (changed || now < m_settledAt) ? now + lockDelay : never;
    }
    double next = m_settledAt;
    for (auto open = m_open.begin(); open != m_open.end() && !m_isStopping; ++open) {
        readRollout(open.key(), *open, watch, now);
        next = qMin(next, look(open.key(), *open, now));
    }
    handChanges(now);
    return std::chrono::milliseconds(qCeil(qBound(0.0, next - now, 1e6)));
}

// False where the folder or the system's locks cannot be read, also before 0.146: then what was known stays.
bool CodexThreads::readLocks(double now)
{
    QMap<QString, Open> open;
    bool isKnown = QFileInfo(m_locks).isReadable();
    for (const QString &name : QDir(m_locks).entryList({u"*.lock"_s}, QDir::Files)) {
        const QString id = name.chopped(5);
        const std::optional<QList<pid_t>> holders = Process::flockHolders(m_locks + u'/' + name);
        isKnown = isKnown && holders;
        for (const pid_t pid : holders.value_or(QList<pid_t>())) {
            const Open known = m_open.value(id);
            if (const Process holder = Process::of(pid); holder.name.startsWith("codex")) // else another program
                open[id] = known.holder.start == holder.start ? known : Open{holder, now - holder.age(), {id}, {}};
        }
    }
    if (isKnown)
        m_open = open;
    return isKnown;
}

void CodexThreads::readRollout(const QString &id, Open &open, FileWatch &watch, double now) const
{
    // In the folder of the day on which the thread was begun. The id begins with that time (UUIDv7).
    const qint64 born = (id.left(8) + id.mid(9, 4)).toLongLong(nullptr, 16);
    const QString folder = m_sessions + QDateTime::fromMSecsSinceEpoch(born).toString(u"/yyyy/MM/dd"_s);
    const auto changed = watch.attachFolder(folder, IN_CREATE | IN_MODIFY | IN_MOVED_TO, 4);
    if (open.rollout.isEmpty()) {
        const QStringList files{u"rollout-*-"_s + id + u".jsonl"_s};
        const QStringList names = QDir(folder).entryList(files, QDir::Files | QDir::NoSymLinks);
        open.rollout = names.isEmpty() ? QString() : folder + u'/' + names.first();
    }
    const bool isChanged = !changed || changed->contains(open.rollout.mid(folder.size() + 1));
    if (open.rollout.isEmpty() || open.thread.isForeign || (!open.thread.record.sessionId.isEmpty() && !isChanged))
        return;
    open.thread.read(open.rollout, now);
    if (open.thread.record.state == SessionState::works && open.thread.record.since < open.heldSince - lockDelay) {
        open.thread.record.state = SessionState::interrupted; // with an earlier process, of which no line tells
        open.thread.calls.clear();
    }
    if (open.thread.isForeign)
        qCDebug(intakeLog) << open.rollout << "is not understood";
}

// When to look again.
double CodexThreads::look(const QString &id, Open &open, double now)
{
    double next = never;
    for (const CodexThread::Call &call : std::as_const(open.thread.calls))
        next = call.isLocal ? qMin(next, qMax(call.since + callDelay, open.lookedAt + lookInterval)) : next;
    if (next == never || (now < next && open.lookedAt <= now)) // a clock may be set back
        return next;
    open.lookedAt = now;
    const QList<Process> children = open.holder.children();
    for (CodexThread::Call &call : open.thread.calls) {
        const auto isOfCall = [&](const Process &child) {
            const QString callId = child.variable("CODEX_TOOL_CALL_ID"), thread = child.variable("CODEX_THREAD_ID");
            // Commands name no call before 0.164, and hooks of the user's, for which Codex waits, not even a thread.
            return callId == call.id
                || (callId.isEmpty() && (thread == id || (thread.isEmpty() && !call.asks))
                    && child.age() < now - call.since + lookInterval);
        };
        if (std::ranges::any_of(children, isOfCall))
            call.lastRun = now;
        call.asks = call.isLocal ? now - call.lastRun >= callDelay : call.asks;
    }
    return now + lookInterval;
}

void CodexThreads::handChanges(double now)
{
    QHash<QString, SessionRecord> records;
    for (const Open &open : std::as_const(m_open)) {
        SessionRecord record = open.thread.record;
        record.pid = open.holder.pid;
        record.processStart = QString::fromLatin1(open.holder.start);
        const auto call = std::ranges::find_if(open.thread.calls, &CodexThread::Call::asks);
        const bool asks = call != open.thread.calls.end();
        if (asks) {
            record.state = SessionState::asks;
            record.since = call->since;
            record.tool = call->tool;
            record.toolInput = call->input;
        }
        // A subagent or review has another session's id, and asks in its terminal.
        const bool isShown = record.sessionId == open.thread.id && !open.thread.isExec
            && records.value(record.sessionId).state != SessionState::asks;
        if (isShown || (asks && !open.thread.isExec && !record.sessionId.isEmpty()))
            records.insert(record.sessionId, record);
    }
    for (const SessionRecord &known : std::as_const(m_known)) {
        const bool isOpen = m_open.contains(known.sessionId) || records.contains(known.sessionId);
        if (isOpen || known.state == SessionState::gone || !m_areLocksKnown)
            continue;
        SessionRecord &gone = *records.insert(known.sessionId, known);
        gone.state = SessionState::gone;
        gone.since = now;
    }
    for (const SessionRecord &record : std::as_const(records)) {
        const SessionRecord before = std::exchange(m_known[record.sessionId], record);
        if (before != record)
            m_onChange(before, record);
    }
}
