#pragma once

#include "Plumtide/views/OnboardingBanner.h"
#include "Plumtide/views/ProjectCardView.h"

#include <QHash>
#include <QWidget>

#include <array>
#include <memory>
#include <tuple>
#include <unordered_map>

class DrawnView;
class HooksInstaller;
class LineRowView;
class TaskStore;
class Transition;

/// What scrolls in the panel: the onboarding banner, the focus area, and the projects in three sections. It is a list
/// of items, of which only those near what is seen are widgets; the others are places. The order of the focus and what
/// a screen reader hears come from the list.
class BoardView final : public QWidget
{
    Q_OBJECT

public:
    struct Item
    {
        enum class Kind { Banner, FocusArea, Heading, Card, Row, Fold };
        Kind kind;
        QRectF box;
        ProjectCardView *card = nullptr;
        qsizetype index = 0; ///< Of the line in its card, or of the section.

        [[nodiscard]] bool isInCard() const { return kind == Kind::Row || kind == Kind::Fold; }
    };
    enum class Among { Controls, Rows };

    /// Both must outlive the view, which only reads them.
    BoardView(const TaskStore &store, const HooksInstaller &installer, int width, QWidget *parent);

    void refresh(const QDateTime &now); ///< Projects that show the same are not touched.
    void layOut();                      ///< Takes the height that its items need.
    void showNear();                    ///< Makes the widgets near what is seen, and ends others.

    /// The one line that is unfolded. It may be one that is not on the board.
    [[nodiscard]] const QString &expandedID() const { return m_expandedID; }
    /// Unfolds a line, its project's quiet lines where it is one of them. Its place; none when it has no row.
    std::optional<QRect> showLine(const QString &id);
    [[nodiscard]] std::optional<QRect> rowPlace(const QString &id) const;
    [[nodiscard]] QString rowAt(QPoint place) const; ///< The line there; empty beside the rows.

    /// The control that has the focus after `from`, or before it; null at the end. Without `from` the first or the
    /// last.
    [[nodiscard]] QWidget *controlAfter(const QWidget *from, bool next, Among among = Among::Controls);
    [[nodiscard]] QWidget *controlNear(int y); ///< Of one that has been taken away.

    [[nodiscard]] qsizetype itemCount() const { return static_cast<qsizetype>(m_items.size()); }
    /// From the top to the bottom; what is in a card follows it.
    [[nodiscard]] const Item &item(qsizetype index) const { return m_items[static_cast<std::size_t>(index)]; }
    [[nodiscard]] qsizetype indexOf(const QWidget *control) const; ///< Of its item; -1 where it is in none.
    DrawnView *realise(const Item &item);                          ///< Its widget, made if it has none.

Q_SIGNALS:
    void wished(const QString &button, const QString &id); ///< A button of a line, or what its menu offers.
    void menuRequested(const QString &id, QPoint place);   ///< In global pixels.
    void connectRequested(TaskSource tool);
    void messageRead();                     ///< The banner's has been shown for long enough.
    void heightChanged(const QString &key); ///< A step of what has this name: lay it out again.

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    using FocusArea = std::tuple<std::optional<AgentTask>, QString, std::optional<TaskSource>>;

    void onboardingBanner();
    void focusArea(const std::optional<AgentTask> &first, const QDateTime &now);
    [[nodiscard]] std::optional<TaskSource> emptyStateHintSource() const;
    double layOutCard(ProjectCardView &card, double y, bool hasMotion); // the y below
    [[nodiscard]] double rowHeight(const ProjectCardView &card, qsizetype index);
    LineRowView *row(const ProjectCardView &card, qsizetype index);
    [[nodiscard]] int cardWidth() const;
    [[nodiscard]] static QString cardKey(const QString &project);
    [[nodiscard]] static QString projectOfCardKey(const QString &key);
    [[nodiscard]] DrawnView *viewOf(const Item &item) const; // null while it has none
    [[nodiscard]] qsizetype indexOfRow(const QString &id) const;
    [[nodiscard]] bool isInUse(const DrawnView *view) const;
    [[nodiscard]] Transition *motion(const QString &key) const; // null: it is folded
    void setOpen(const QString &key, bool isOpen, bool isAnimated);
    void toggleRow(const QString &id);

    const TaskStore &m_store;
    const HooksInstaller &m_installer;
    OnboardingBanner m_banner;
    DrawnView *m_bannerView;
    FocusArea m_focusArea;
    DrawnView *m_focusAreaView;
    std::array<DrawnView *, allProjectSections.size()> m_headings{};
    std::array<QList<ProjectCardView *>, allProjectSections.size()> m_sections; // in order
    std::unordered_map<QString, std::unique_ptr<ProjectCardView>> m_cards;      // by the project
    std::vector<Item> m_items;
    QHash<QString, DrawnView *> m_views; // of rows by their lines, of cards and folds by their names
    QList<Transition *> m_motions;       // of what is not folded, by the same names
    QString m_expandedID;
    int m_round = 0; // of the refresh
};
