#pragma once

#include "Plumtide/store/Board.h"
#include "Plumtide/system/Environment.h"

#include <QMap>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>

/// Decides which notices of the board are shown as notifications, and when. None is while its session's terminal has
/// the focus or is muted; the end of a turn is only for those who want to be told of it. An approval that is still open
/// follows when the terminal has lost the focus, or, with all others, at the end of a mute for all sessions.
/// What the user has chosen is kept in the defaults.
class NotificationFilter final : public QObject
{
    Q_OBJECT

public:
    using Notify = std::function<void(const Board::Notice &notice)>;
    using FocusFound = std::function<void(std::optional<bool> hasFocus)>;
    /// Calls `found` once, at once or soon, with nothing where it cannot be told.
    using FindFocus = std::function<void(const QString &line, const FocusFound &found)>;

    static constexpr std::chrono::seconds lookInterval{1};      ///< While an approval waits for the focus to leave.
    static constexpr std::chrono::seconds timeWithoutFocus{10}; ///< Then it is shown.

    /// Both must outlive it.
    NotificationFilter(const Board &board, Environment &environment);

    void setNotify(Notify notify) { m_notify = std::move(notify); } ///< Shows and withdraws notifications.
    void setFindFocus(FindFocus findFocus) { m_findFocus = std::move(findFocus); }

    void receive(const Board::Notice &notice);
    /// Shows what is due. To be called after the notices of the start, and now and then: the clock may be set.
    void advance();

    [[nodiscard]] std::optional<QDateTime> mutedUntil() const; ///< Absent where notifications are not muted.
    void setMutedUntil(const std::optional<QDateTime> &end);   ///< Absent: not any more.
    /// The time for a mute that only the user ends.
    [[nodiscard]] static QDateTime never() { return QDateTime::fromSecsSinceEpoch(253'370'764'800); } // the year 9999

    [[nodiscard]] bool isLineMuted(const QString &line) const;
    void setLineMuted(const QString &line, bool isMuted);

    /// Of ended turns: off unless the user has switched it on.
    [[nodiscard]] bool showsReplies() const { return m_environment.defaults.boolean(repliesKey); }
    void setShowsReplies(bool isWanted) { m_environment.defaults.setBoolean(repliesKey, isWanted); }

Q_SIGNALS:
    void mutedUntilChanged();

private:
    static inline const QString repliesKey = QStringLiteral("tavvel.notifications.showsReplies");

    struct Held
    {
        Board::Notice notice;           // without a body where it was muted: it is told of in the summary
        std::optional<QDateTime> dueAt; // absent while the session's terminal has the focus

        [[nodiscard]] bool isDue(const QDateTime &now) const { return dueAt && *dueAt <= now; }
    };

    [[nodiscard]] std::optional<QDateTime> storedEnd() const; // of the mute
    [[nodiscard]] bool isSilenced(const Board::Notice &notice) const;
    void look(const QString &id);
    void release(const Board::Notice &notice);
    void showSummary();
    void endMute();
    [[nodiscard]] QDateTime now() const { return m_environment.clock(); }

    const Board &m_board;
    Environment &m_environment;
    Notify m_notify = [](const Board::Notice &) {};
    FindFocus m_findFocus = [](const QString &, const FocusFound &found) { found(std::nullopt); };
    QMap<QString, Held> m_held;          // by the ids of the notices
    QSet<QString> m_shown, m_summarized; // the same ids: each on its own, and all in the summary
    bool m_isSummaryDue = false;
    QTimer m_lookTimer, m_muteTimer;
};
