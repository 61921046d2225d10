#pragma once

#include "Plumtide/views/BoardCards.h"
#include "Plumtide/views/BoardLayout.h"
#include "Plumtide/views/LineRowView.h"

#include <QMap>
#include <QWidget>

#include <unordered_map>
#include <variant>

class DrawnView;
class HooksInstaller;
class QVariantAnimation;
class TaskStore;

/// What scrolls in the panel: the onboarding banner, the focus card, and the projects in three sections. It is a list
/// of items, of which only those near the visible part have widgets. The order of the focus and what a screen reader
/// hears come from the list.
class BoardView final : public QWidget
{
    Q_OBJECT

public:
    enum class FocusScope { Controls, Rows };

    /// `store` and `installer` must outlive the view.
    BoardView(const TaskStore &store, HooksInstaller &installer, int width, QWidget *parent);

    /// Projects that show the same are not touched. `lineToShow` is unfolded, if it has a row, and its project's quiet
    /// lines where it is one of them; whatever was unfolded before is folded.
    void refresh(const QDateTime &now, const QString &lineToShow = {});
    void layOut();               ///< Takes the height that its items need.
    void updateVisibleWidgets(); ///< Makes the widgets near the visible part, and deletes others.
    void toggleFold(const QString &project);

    /// The one line that is unfolded. It may be one that is not on the board.
    [[nodiscard]] const QString &expandedID() const { return m_expandedID; }
    [[nodiscard]] std::optional<QRect> rowRect(const QString &id) const; ///< None where it has no row.
    [[nodiscard]] QString rowAt(QPoint place) const;                     ///< The line there; empty beside the rows.

    /// The control after `from` in the order of the focus, or before it; without `from` the first or last. Or null.
    [[nodiscard]] QWidget *controlAfter(const QWidget *from, bool next, FocusScope scope = FocusScope::Controls);
    [[nodiscard]] QWidget *controlNear(int y); ///< Of one that has been taken away.

    [[nodiscard]] qsizetype itemCount() const { return static_cast<qsizetype>(m_items.size()); }
    [[nodiscard]] const BoardItem &item(qsizetype index) const { return m_items[static_cast<std::size_t>(index)]; }
    [[nodiscard]] qsizetype indexOf(const QWidget *control) const; ///< Of its item; -1 where it is in none.
    [[nodiscard]] qsizetype rowCount(qsizetype card) const;        ///< The rows before the card, which are its own.
    DrawnView *ensureWidget(const BoardItem &item);                ///< Shows it, made if it has none.

Q_SIGNALS:
    void activated(const Command &command);              ///< By a button, a double click, or a key of the focused line.
    void menuRequested(const QString &id, QPoint place); ///< In global pixels.
    void sectionMenuRequested(ProjectSection section, QPoint place);
    void heightChanged(const QString &id); ///< Of this line or project: the board must be laid out again.

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    using Content = std::variant<OnboardingBanner, FocusCardView, BoardHeading, LineRowView, ProjectCardFace>;
    struct View
    {
        DrawnView *widget = nullptr;
        std::optional<std::pair<Content, double>> drawn; // and for which width
    };

    void actOnFocusedLine(const QList<QKeySequence> &keys);
    [[nodiscard]] std::optional<TaskSource> silentSource() const;
    void forgetLines(const ProjectCardView &card);
    [[nodiscard]] Content contentOf(const BoardItem &item) const;
    [[nodiscard]] DrawnView *makeWidget(const BoardItem::Key &key);
    DrawnView *updateDrawing(const BoardItem &item); // makes the widget, but does not place it
    [[nodiscard]] qsizetype indexOf(const BoardItem::Key &key) const;
    [[nodiscard]] bool isOpen(const BoardItem::Key &key) const; // or opening
    void setOpen(const BoardItem::Key &key, bool open, bool isAnimated);
    void expandRow(const QString &id, bool isAnimated); // and folds the one before; an empty `id` only folds

    const TaskStore &m_store;
    HooksInstaller &m_installer;
    OnboardingBanner m_banner;
    FocusCardView m_focusCard;
    BoardContent m_content;
    std::unordered_map<QString, ProjectCardView> m_cards; // by the project
    QHash<QString, ProjectCardView *> m_cardOfLine;
    std::vector<BoardItem> m_items;
    QMap<BoardItem::Key, View> m_views;
    QHash<const QWidget *, BoardItem::Key> m_keys;          // of the views' widgets
    QMap<BoardItem::Key, QVariantAnimation *> m_expansions; // of rows, and of cards with quiet lines; from 0 to 1
    QString m_expandedID;
    int m_lastRefresh = 0;
};
