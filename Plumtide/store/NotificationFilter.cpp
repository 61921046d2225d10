#include "Plumtide/store/NotificationFilter.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = Board::Notice::Kind;

namespace {

const QString muteKey = u"tavvel.notifications.mutedUntil"_s; // seconds since 1970
const QString mutedLinesKey = u"tavvel.notifications.mutedLines"_s;
const QString repliesKey = u"tavvel.notifications.showsReplies"_s;

} // namespace

NotificationFilter::NotificationFilter(const Board &board, Environment &environment)
    : m_board(board), m_environment(environment), m_mutedLines(environment.defaults.texts(mutedLinesKey))
{
    m_muteTimer.setSingleShot(true);
    for (QTimer *timer : {&m_lookTimer, &m_muteTimer})
        timer->callOnTimeout(this, &NotificationFilter::advance);
}

void NotificationFilter::receive(const Board::Notice &notice)
{
    m_held.remove(notice.id());
    if (notice.body.isEmpty()) {
        if (m_shown.remove(notice.id()) && m_notify)
            m_notify(notice);
        if (m_summarized.remove(notice.id()) && m_summarized.isEmpty() && m_notify)
            m_notify({Kind::summary, {}});
    } else if (!isSilenced(notice)) {
        m_held.insert(notice.id(), {notice});
        look(notice.id());
    }
}

void NotificationFilter::advance()
{
    if (const std::optional<double> end = m_environment.defaults.number(muteKey)) {
        const std::chrono::milliseconds left(now().msecsTo(QDateTime::fromSecsSinceEpoch(static_cast<qint64>(*end))));
        if (left <= 0ms)
            endMute();
        else
            m_muteTimer.start(std::min<std::chrono::milliseconds>(left, 24h));
    }
    for (const QString &id : m_held.keys())
        look(id);
    if (m_held.isEmpty())
        m_lookTimer.stop();
}

std::optional<QDateTime> NotificationFilter::mutedUntil() const
{
    const std::optional<double> end = m_environment.defaults.number(muteKey);
    const QDateTime time = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(end.value_or(0)));
    return time > now() ? std::optional(time) : std::nullopt;
}

void NotificationFilter::setMutedUntil(const std::optional<QDateTime> &end)
{
    if (!end && !mutedUntil())
        return;
    m_environment.defaults.setNumber(muteKey, end ? static_cast<double>(end->toSecsSinceEpoch()) : 0);
    Q_EMIT mutedUntilChanged();
    advance();
}

void NotificationFilter::endMute()
{
    m_muteTimer.stop();
    m_environment.defaults.remove(muteKey);
    for (const AgentTask &line : m_board.lines()) {
        const Board::Notice notice{Kind::approval, line.id};
        const bool isKnown = m_shown.contains(notice.id()) || m_summarized.contains(notice.id());
        if (line.isAgentLine() && line.isUrgent() && !isKnown && !m_held.contains(notice.id()))
            m_held.insert(notice.id(), {notice});
    }
    Q_EMIT mutedUntilChanged();
}

void NotificationFilter::setLineMuted(const QString &line, bool isMuted)
{
    if (isMuted == isLineMuted(line))
        return;
    m_mutedLines.removeAll(line);
    if (isMuted)
        m_mutedLines.append(line);
    m_environment.defaults.setTexts(mutedLinesKey, m_mutedLines);
}

bool NotificationFilter::showsReplies() const
{
    return m_environment.defaults.boolean(repliesKey);
}

void NotificationFilter::setShowsReplies(bool isWanted)
{
    m_environment.defaults.setBoolean(repliesKey, isWanted);
}

bool NotificationFilter::isSilenced(const Board::Notice &notice) const
{
    return mutedUntil() || isLineMuted(notice.line) || (notice.kind == Kind::replied && !showsReplies());
}

void NotificationFilter::look(const QString &id)
{
    const auto found = [this, id](std::optional<bool> hasFocus) {
        const auto held = m_held.find(id);
        if (held == m_held.end())
            return; // it was withdrawn meanwhile
        const bool isHere = hasFocus.value_or(false);
        if (isHere)
            held->lostFocusAt.reset();
        else
            held->lostFocusAt = held->lostFocusAt.value_or(now());
        held->hadFocus = held->hadFocus || isHere;
        const qint64 away = isHere ? 0 : held->lostFocusAt->secsTo(now()); // negative if the clock was set
        const bool isDue = !held->hadFocus || away < 0 || away >= timeWithoutFocus.count();
        if (isDue)
            release(m_held.take(id).notice);
        else if (held->notice.kind != Kind::approval)
            m_held.erase(held); // the user sees it there
        else if (!m_lookTimer.isActive())
            m_lookTimer.start(lookInterval);
        showSummary();
    };
    m_findFocus ? m_findFocus(m_held[id].notice.line, found) : found(std::nullopt);
}

void NotificationFilter::release(const Board::Notice &notice)
{
    if (isSilenced(notice))
        return;
    if (notice.body.isEmpty()) {
        m_summarized.insert(notice.id());
        m_isSummaryDue = true;
    } else {
        m_shown.insert(notice.id());
        if (m_notify)
            m_notify(notice);
    }
}

void NotificationFilter::showSummary()
{
    // The terminals of some may not have answered.
    const auto isUnknown = [](const Held &held) { return held.notice.body.isEmpty() && !held.hadFocus; };
    if (m_isSummaryDue && std::ranges::none_of(m_held, isUnknown)) {
        m_isSummaryDue = false;
        if (m_notify)
            m_notify({Kind::summary, {}, u"Plumtide"_s, u"有 %1 个操作等你确认"_s.arg(m_summarized.size())});
    }
}
