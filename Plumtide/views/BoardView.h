#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/model/ProjectGroup.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QWidget>

#include <array>
#include <optional>

class AllClearView;
class FocusCardView;
class HooksInstaller;
class LineRowView;
class OnboardingBanner;
class ProjectCardView;
class SectionHeading;
class TaskStore;

/// What scrolls in the panel: the onboarding banner, the focus area, and the projects in three sections.
/// Its parts are kept from one refresh to the next by what they show: a project's card, a line's row.
class BoardView final : public QWidget
{
    Q_OBJECT

public:
    /// Both must outlive the view.
    BoardView(TaskStore &store, HooksInstaller &installer, QWidget *parent);

    /// Reads the store and the installer and brings everything up to date. `waiting` are the waiting lines.
    void refresh(const QList<AgentTask> &waiting, const QDateTime &now);
    void layOut(int width); ///< Takes the height that its parts need.

    /// The one line that is unfolded. It may be one that is not on the board.
    [[nodiscard]] const std::optional<QString> &expandedID() const { return m_expandedID; }
    void setExpandedID(const std::optional<QString> &id);
    [[nodiscard]] ProjectCardView *card(const QString &project) const { return m_cards.value(project); }
    /// The controls that can have the focus, from the top to the bottom.
    [[nodiscard]] QList<QWidget *> tabOrder() const;

Q_SIGNALS:
    void editRequested(const AgentTask &line);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    struct Section
    {
        ProjectSection kind;
        SectionHeading *heading;
        QList<ProjectCardView *> cards; // in order
    };

    [[nodiscard]] std::optional<TaskSource> emptyStateHintSource() const;
    [[nodiscard]] static QList<ProjectGroup> visibleGroups(QList<ProjectGroup> groups,
                                                           const std::optional<QString> &excludeID);
    void showFocusArea(const QList<AgentTask> &waiting, const QDateTime &now);
    void keepSpokenOrder();
    ProjectCardView *makeCard();
    void toggleRow(const QString &id);
    [[nodiscard]] LineRowView *row(const QString &id) const;

    TaskStore &m_store;
    HooksInstaller &m_installer;
    OnboardingBanner *m_banner;
    FocusCardView *m_focus;
    AllClearView *m_allClear;
    std::array<Section, allProjectSections.size()> m_sections;
    QHash<QString, ProjectCardView *> m_cards;
    std::optional<QString> m_expandedID;
    bool m_isRefreshing = false;
};
