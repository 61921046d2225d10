#include "Plumtide/store/Board.h"

using namespace Qt::StringLiterals;

namespace {

// Seconds since a line's last change.
constexpr qint64 livenessAge = 300;  // a session must be this quiet before its process is looked for
constexpr qint64 idleAge = 7200;     // a running line that is silent for longer is closed
constexpr qint64 purgeAge = 604'800; // a finished line is dropped after seven days

// The session of Claude Code that may have ended without a word; nothing for any other line.
std::optional<QString> quietSession(const AgentTask &line, const QDateTime &now)
{
    constexpr auto prefix = "cc-"_L1;
    const bool isOpen = line.status == AgentTaskStatus::waiting || line.status == AgentTaskStatus::running;
    if (!isOpen || !line.id.startsWith(prefix) || !isOlderThan(line.updatedAt, livenessAge, now))
        return std::nullopt;
    return line.id.sliced(prefix.size());
}

} // namespace

Board::Changes Board::apply(const HookEvent &event, const QDateTime &now)
{
    if (!event.hookEventName || !event.sessionId)
        return {};
    const QString id = lineIdOf(event);
    m_stuckNotified.remove(id);
    const qsizetype place = placeOf(id);
    const AgentTask *const known = place < lines().size() ? &lines().at(place) : nullptr;
    std::optional<EventEffect> effect = effectOf(event, known, now);
    if (!effect)
        return {};
    Changes changes{{}, {{{place, std::move(effect->line)}}}};
    if (effect->notice)
        changes.notices.append(*effect->notice);
    return changes;
}

Board::Changes Board::sweep(const QDateTime &now, const QSet<QString> &endedSessions)
{
    Changes changes;
    Step drops;
    for (qsizetype place = 0; place < lines().size(); ++place) {
        const AgentTask &line = lines().at(place);
        if (line.isStuck(now) && !m_stuckNotified.contains(line.id)) {
            m_stuckNotified.insert(line.id);
            changes.notices.append(
                {line.project, u"有个会话 30 分钟没动静了，可能卡住了，去看一眼。"_s, u"stuck-"_s + line.id});
        }
        QString reason;
        if (const auto session = quietSession(line, now); session && endedSessions.contains(*session))
            reason = u"会话已关闭"_s;
        else if (line.isStuck(now) && isOlderThan(line.updatedAt, idleAge, now))
            reason = u"长时间无动静，判定会话已结束"_s;
        if (!reason.isEmpty()) {
            // `updatedAt` stays: the days until the line is dropped count from its last event.
            AgentTask closed = line;
            closed.status = AgentTaskStatus::done;
            changes.steps.append({{place, closed}});
            addEvent(closed, reason, now);
            changes.steps.append({{place, std::move(closed)}});
        }
        const bool isDone = line.status == AgentTaskStatus::done || !reason.isEmpty();
        if (isDone && isOlderThan(line.updatedAt, purgeAge, now))
            drops.prepend({place, std::nullopt}); // from the end: a drop moves the places behind it
    }
    changes.steps.append(std::move(drops));
    return changes;
}

QSet<QString> Board::quietSessions(const QDateTime &now) const
{
    QSet<QString> sessions;
    for (const AgentTask &line : lines()) {
        if (const std::optional<QString> session = quietSession(line, now))
            sessions.insert(*session);
    }
    return sessions;
}

Board::Changes Board::upsert(AgentTask line, const QDateTime &now) const
{
    line.updatedAt = now;
    const qsizetype place = placeOf(line.id);
    return {{}, {{{place, storable(std::move(line), now)}}}};
}

Board::Changes Board::setStatus(const QString &id, AgentTaskStatus status, const QDateTime &now) const
{
    const qsizetype place = placeOf(id);
    if (place == lines().size())
        return {};
    AgentTask set = lines().at(place);
    set.status = status;
    AgentTask dated = set;
    dated.updatedAt = now;
    return {{}, {{{place, std::move(set)}}, {{place, std::move(dated)}}}};
}

Board::Changes Board::setLines(const QList<AgentTask> &lines, const QDateTime &now) const
{
    Step step;
    for (qsizetype place = this->lines().size() - 1; place >= 0; --place)
        step.append({place, std::nullopt});
    for (qsizetype place = 0; place < lines.size(); ++place)
        step.append({place, storable(lines.at(place), now)});
    return {{}, {std::move(step)}};
}
