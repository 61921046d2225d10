#include "Plumtide/store/NotificationFilter.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = Board::Notice::Kind;

namespace {

const QString muteKey = u"tavvel.notifications.mutedUntil"_s; // seconds since 1970
const QString mutedLinesKey = u"tavvel.notifications.mutedLines"_s;

} // namespace

NotificationFilter::NotificationFilter(const Board &board, Environment &environment)
    : m_board(board), m_environment(environment)
{
    m_muteTimer.setSingleShot(true);
    for (QTimer *timer : {&m_lookTimer, &m_muteTimer})
        timer->callOnTimeout(this, &NotificationFilter::advance);
}

std::optional<QDateTime> NotificationFilter::storedEnd() const
{
    const std::optional<double> end = m_environment.defaults.number(muteKey);
    const qint64 latest = never().toSecsSinceEpoch();
    return end ? std::optional(QDateTime::fromSecsSinceEpoch(qRound64(qBound(0.0, *end, static_cast<double>(latest)))))
               : std::nullopt;
}

void NotificationFilter::receive(const Board::Notice &notice)
{
    m_held.remove(notice.id());
    if (notice.body.isEmpty()) {
        if (m_shown.remove(notice.id()))
            m_notify(notice);
        if (m_summarized.remove(notice.id()) && m_summarized.isEmpty())
            m_notify({Kind::summary, {}});
    } else if (!isSilenced(notice) && !m_summarized.contains(notice.id())) {
        m_held.insert(notice.id(), {notice, now()});
        look(notice.id());
    }
}

void NotificationFilter::advance()
{
    const std::optional<QDateTime> end = storedEnd();
    if (end && *end <= now())
        endMute();
    else if (end)
        m_muteTimer.start(std::min(std::chrono::milliseconds(now().msecsTo(*end)), std::chrono::milliseconds(24h)));
    for (const QString &id : m_held.keys())
        look(id);
    if (m_held.isEmpty())
        m_lookTimer.stop();
}

std::optional<QDateTime> NotificationFilter::mutedUntil() const
{
    const std::optional<QDateTime> end = storedEnd();
    return end && *end > now() ? end : std::nullopt;
}

void NotificationFilter::setMutedUntil(const std::optional<QDateTime> &end)
{
    if (end || mutedUntil())
        m_environment.defaults.setNumber(muteKey, end ? static_cast<double>(end->toSecsSinceEpoch()) : 0);
    if (end)
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
            m_held.insert(notice.id(), {notice, now()});
    }
    Q_EMIT mutedUntilChanged();
}

bool NotificationFilter::isLineMuted(const QString &line) const
{
    return m_environment.defaults.texts(mutedLinesKey).contains(line);
}

void NotificationFilter::setLineMuted(const QString &line, bool isMuted)
{
    if (isMuted == isLineMuted(line))
        return;
    QStringList lines = m_environment.defaults.texts(mutedLinesKey);
    lines.removeAll(line);
    m_environment.defaults.setTexts(mutedLinesKey, isMuted ? lines << line : lines);
}

bool NotificationFilter::isSilenced(const Board::Notice &notice) const
{
    return mutedUntil() || isLineMuted(notice.line) || (notice.kind == Kind::replied && !showsReplies());
}

void NotificationFilter::look(const QString &id)
{
    const auto found = [this, id](std::optional<bool> hasFocus) {
        const auto held = m_held.find(id);
        if (held == m_held.end()) // it was withdrawn meanwhile
            return showSummary();
        const QDateTime latest = now() + timeWithoutFocus;
        if (hasFocus.value_or(false))
            held->dueAt.reset();
        else
            held->dueAt = std::min(held->dueAt.value_or(latest), latest); // the clock may have been set back
        if (held->isDue(now()))
            release(m_held.take(id).notice);
        else if (held->notice.kind != Kind::approval)
            m_held.erase(held); // the user sees it there
        else if (!m_lookTimer.isActive())
            m_lookTimer.start(lookInterval);
        showSummary();
    };
    m_findFocus(m_held.value(id).notice.line, found);
}

void NotificationFilter::release(const Board::Notice &notice)
{
    if (isSilenced(notice))
        return;
    m_isSummaryDue = m_isSummaryDue || notice.body.isEmpty();
    (notice.body.isEmpty() ? m_summarized : m_shown).insert(notice.id());
    if (notice.body.isEmpty())
        return;
    // Another request may be open by now. The line itself comes after its first notice.
    const std::optional<AgentTask> line = m_board.line(notice.line);
    const bool isOpen = notice.kind == Kind::approval && line && line->isUrgent();
    m_notify(isOpen ? Board::approvalOf(*line) : notice);
}

void NotificationFilter::showSummary()
{
    const auto isUnknown = [this](const Held &held) { return held.notice.body.isEmpty() && held.isDue(now()); };
    // Other terminals may answer later, and until then the user may answer what would be counted.
    if (m_isSummaryDue && !m_summarized.isEmpty() && std::ranges::none_of(m_held, isUnknown)) {
        m_isSummaryDue = false;
        m_notify({Kind::summary, {}, u"Plumtide"_s, u"有 %1 个操作等你确认"_s.arg(m_summarized.size())});
    }
}
