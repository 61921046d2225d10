#include "Plumtide/views/BoardView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/AllClearView.h"
#include "Plumtide/views/FocusCardView.h"
#include "Plumtide/views/OnboardingBanner.h"
#include "Plumtide/views/ProjectCardView.h"
#include "Plumtide/views/SectionHeading.h"

#include <QPaintEvent>
#include <QPainter>
#include <QScopedValueRollback>

#include <algorithm>

namespace {

constexpr int boardPadding = 14;
constexpr int boardGap = 14;
constexpr int sectionGap = 8;

} // namespace

BoardView::BoardView(TaskStore &store, HooksInstaller &installer, QWidget *parent)
    : QWidget(parent),
      m_store(store),
      m_installer(installer),
      m_banner(new OnboardingBanner(installer, this)),
      m_focus(new FocusCardView(store, this)),
      m_allClear(new AllClearView(this)),
      m_sections{{{ProjectSection::pending, new SectionHeading(ProjectSection::pending, this), {}},
                  {ProjectSection::inProgress, new SectionHeading(ProjectSection::inProgress, this), {}},
                  {ProjectSection::quiet, new SectionHeading(ProjectSection::quiet, this), {}}}}
{
    m_allClear->stackUnder(m_sections.front().heading);
    m_focus->stackUnder(m_banner);         // its shadow reaches below its neighbours
    setAttribute(Qt::WA_OpaquePaintEvent); // so that scrolling moves pixels instead of painting them
    connect(m_focus, &FocusCardView::editRequested, this, &BoardView::editRequested);
}

std::optional<TaskSource> BoardView::emptyStateHintSource() const
{
    const std::optional<TaskSource> filter = m_store.sourceFilter();
    if ((!filter || filter == TaskSource::claude) && m_installer.claudeInstalled() && !m_store.hasSeenClaudeEvent())
        return TaskSource::claude;
    if ((!filter || filter == TaskSource::codex) && m_installer.codexInstalled() && !m_store.hasSeenCodexEvent())
        return TaskSource::codex;
    return std::nullopt;
}

// Without the line that is shown in the focus card.
QList<ProjectGroup> BoardView::visibleGroups(QList<ProjectGroup> groups, const std::optional<QString> &excludeID)
{
    if (!excludeID)
        return groups;
    for (ProjectGroup &group : groups)
        group.lines.removeIf([&](const AgentTask &line) { return line.id == *excludeID; });
    groups.removeIf([](const ProjectGroup &group) { return group.lines.isEmpty(); });
    return groups;
}

void BoardView::refresh(const QList<AgentTask> &waiting, const QDateTime &now)
{
    const QScopedValueRollback refreshing(m_isRefreshing, true);
    m_banner->refresh();
    showFocusArea(waiting, now);

    const std::optional<QString> focusID = waiting.isEmpty() ? std::nullopt : std::optional(waiting.first().id);
    QHash<QString, ProjectCardView *> gone = std::exchange(m_cards, {});
    bool isReordered = false;
    std::array<QList<ProjectGroup>, allProjectSections.size()> sections = m_store.sections();
    for (Section &section : m_sections) {
        const QList<ProjectGroup> groups =
            visibleGroups(std::move(sections[static_cast<std::size_t>(section.kind)]),
                          section.kind == ProjectSection::pending ? focusID : std::nullopt);
        section.heading->setCount(groups.size());
        const QList<ProjectCardView *> before = std::exchange(section.cards, {});
        for (const ProjectGroup &group : groups) {
            ProjectCardView *card = gone.take(group.name);
            const bool isNew = !card;
            if (isNew)
                card = makeCard();
            card->setGroup(group, now);
            section.cards.append(card);
            m_cards.insert(group.name, card);
            if (isNew)
                card->show();
        }
        isReordered = isReordered || section.cards != before;
    }
    if (isReordered)
        keepSpokenOrder();
    for (ProjectCardView *card : std::as_const(gone)) {
        card->hide();
        card->deleteLater(); // one of its buttons may be being pressed
    }
    layOut(width());
}

// Screen readers go through the board in the order of its children, and new ones come last.
void BoardView::keepSpokenOrder()
{
    for (const Section &section : m_sections) {
        section.heading->raise();
        for (ProjectCardView *card : section.cards)
            card->raise();
    }
}

void BoardView::showFocusArea(const QList<AgentTask> &waiting, const QDateTime &now)
{
    if (waiting.isEmpty())
        m_allClear->setHintSource(emptyStateHintSource());
    else
        m_focus->setTask(waiting.first(), now);
    m_focus->setVisible(!waiting.isEmpty());
    m_allClear->setVisible(waiting.isEmpty());
}

ProjectCardView *BoardView::makeCard()
{
    auto *card = new ProjectCardView(m_store, this);
    connect(card, &ProjectCardView::rowAdded, this,
            [this](LineRowView *row) { row->setExpanded(m_expandedID == row->line().id, LineRowView::Animate::No); });
    connect(card, &ProjectCardView::rowClicked, this, &BoardView::toggleRow);
    connect(card, &ProjectCardView::editRequested, this, &BoardView::editRequested);
    connect(card, &ProjectCardView::heightChanged, this, [this] {
        if (!m_isRefreshing) // which ends in it
            layOut(width());
    });
    return card;
}

LineRowView *BoardView::row(const QString &id) const
{
    for (const ProjectCardView *card : m_cards) {
        if (LineRowView *row = card->row(id))
            return row;
    }
    return nullptr;
}

void BoardView::toggleRow(const QString &id)
{
    const std::optional<QString> before = m_expandedID;
    m_expandedID = before == id ? std::nullopt : std::optional(id);
    if (LineRowView *folded = before ? row(*before) : nullptr)
        folded->setExpanded(false, LineRowView::Animate::Yes);
    if (LineRowView *unfolded = m_expandedID ? row(*m_expandedID) : nullptr)
        unfolded->setExpanded(true, LineRowView::Animate::Yes);
}

void BoardView::setExpandedID(const std::optional<QString> &id)
{
    m_expandedID = id;
    for (const Section &section : m_sections) {
        for (const ProjectCardView *card : section.cards) {
            if (LineRowView *row = id ? card->row(*id) : nullptr)
                row->setExpanded(true, LineRowView::Animate::No);
        }
    }
}

void BoardView::layOut(int width)
{
    if (width <= 0)
        return;
    const int inside = width - 2 * boardPadding;
    int y = boardPadding;
    const auto place = [&](QWidget *view, int height, int margin) {
        view->setGeometry(boardPadding - margin, y - margin, inside + 2 * margin, height + 2 * margin);
        y += height;
    };
    bool isFirst = true;
    const auto addGap = [&](int size) {
        if (!std::exchange(isFirst, false))
            y += size;
    };

    const int bannerHeight = m_banner->layOut(inside);
    m_banner->setVisible(bannerHeight > 0);
    if (bannerHeight > 0) {
        addGap(boardGap);
        place(m_banner, bannerHeight, 0);
    }
    addGap(boardGap);
    if (!m_focus->isHidden())
        place(m_focus, m_focus->layOut(inside), FocusCardView::shadowMargin);
    else
        place(m_allClear, m_allClear->layOut(inside), 0);
    for (const Section &section : m_sections) {
        section.heading->setVisible(!section.cards.isEmpty());
        if (section.cards.isEmpty())
            continue;
        addGap(boardGap);
        place(section.heading, section.heading->layOut(inside), 0);
        for (ProjectCardView *card : section.cards) {
            addGap(sectionGap);
            place(card, card->layOut(inside), 0);
        }
    }
    resize(width, y + boardPadding);
}

QList<QWidget *> BoardView::tabOrder() const
{
    QList<QWidget *> controls = findChildren<QWidget *>();
    controls.removeIf([this](const QWidget *widget) {
        return !(widget->focusPolicy() & Qt::TabFocus) || !widget->isVisibleTo(this) || !widget->isEnabled()
            || widget->height() == 0;
    });
    const auto place = [this](const QWidget *widget) {
        const QPoint at = widget->mapTo(this, QPoint(0, 0));
        return std::pair(at.y(), at.x());
    };
    std::ranges::stable_sort(controls, {}, place);
    return controls;
}

void BoardView::paintEvent(QPaintEvent *event)
{
    QPainter(this).fillRect(event->rect(), Theme::bg);
}
