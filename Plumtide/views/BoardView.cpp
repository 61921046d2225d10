#include "Plumtide/views/BoardView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/FocusCardView.h"
#include "Plumtide/views/HStack.h"
#include "Plumtide/views/LineRowView.h"
#include "Plumtide/views/Transition.h"

#include <QPaintEvent>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int boardPaddingX = 13; // the panel's edge is one more
constexpr int boardPaddingY = 14;
constexpr int boardGap = 14;
constexpr int sectionGap = 8;
constexpr auto messageTime = 4s;

constexpr double headingDotDiameter = 7;
constexpr double headingItemGap = 6;
constexpr double headingQuietDotOpacity = 0.6;

Drawing composeHeading(ProjectSection section, qsizetype groups)
{
    const QColor color = section == ProjectSection::pending ? Theme::accent : Theme::secondary;
    const TextStyle style{12, QFont::DemiBold, color};
    HStack row(headingItemGap);
    row.dot(headingDotDiameter, section == ProjectSection::quiet ? Theme::faded(color, headingQuietDotOpacity) : color);
    row.text(label(section), style);
    row.text(QString::number(groups), style);
    Drawing drawing;
    drawing.size = row.place(drawing, {0, 0}, QWIDGETSIZE_MAX).size();
    return drawing;
}

} // namespace

BoardView::BoardView(const TaskStore &store, const HooksInstaller &installer, int width, QWidget *parent)
    : QWidget(parent),
      m_store(store),
      m_installer(installer),
      m_bannerView(new DrawnView(QAccessible::Grouping, this)),
      m_focusAreaView(new DrawnView(QAccessible::Grouping, this))
{
    setAttribute(Qt::WA_OpaquePaintEvent); // so that scrolling moves pixels instead of painting them
    resize(width, 0);
    for (DrawnView *&heading : m_headings)
        heading = new DrawnView(QAccessible::Heading, this);
    connect(m_focusAreaView, &DrawnView::wished, this, &BoardView::wished);
    connect(m_focusAreaView, &DrawnView::menuRequested, this, &BoardView::menuRequested);
    connect(m_bannerView, &DrawnView::wished, this, [this](const QString &button) {
        Q_EMIT connectRequested(button == u"claude" ? TaskSource::claude : TaskSource::codex);
    });
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

void BoardView::onboardingBanner()
{
    const OnboardingBanner banner{!m_installer.claudeInstalled(), !m_installer.codexInstalled(), m_installer.message()};
    const OnboardingBanner before = std::exchange(m_banner, banner);
    if (before == banner)
        return;
    m_bannerView->setDrawing(banner.compose(cardWidth()));
    if (banner.isShown() && !banner.isCard() && !(before.isShown() && !before.isCard()))
        QTimer::singleShot(messageTime, this, &BoardView::messageRead);
}

void BoardView::focusArea(const std::optional<AgentTask> &first, const QDateTime &now)
{
    const FocusArea area{first, first ? shortAgo(first->updatedAt, now) : QString(),
                         first ? std::nullopt : emptyStateHintSource()};
    if (std::exchange(m_focusArea, area) == area && m_round > 0)
        return;
    const int inside = cardWidth();
    m_focusAreaView->setSubject(first ? first->id : QString());
    m_focusAreaView->setDrawing(first ? FocusCardView::compose(*first, now, inside)
                                      : AllClearView::compose(std::get<2>(area), inside));
}

int BoardView::cardWidth() const
{
    return width() - 2 * boardPaddingX;
}

void BoardView::refresh(const QDateTime &now)
{
    const std::optional<AgentTask> first = m_store.firstWaiting();
    onboardingBanner();
    focusArea(first, now);
    ++m_round;
    const auto sections = m_store.sections();
    std::size_t count = 0;
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const QList<ProjectCardView *> before = std::exchange(m_sections[i], {});
        for (const ProjectGroup *group : sections[i]) {
            // The line in the focus card is not listed a second time.
            const QString excludeID = first && first->project == group->name ? first->id : QString();
            if (!excludeID.isEmpty() && group->lines.size() == 1)
                continue;
            ProjectCardView *card = before.value(m_sections[i].size());
            // A look at the revision spares one at the names, which lie elsewhere in memory.
            if (!card || (card->revision() != group->revision && card->name() != group->name)) {
                std::unique_ptr<ProjectCardView> &known = m_cards[group->name];
                if (!known)
                    known = std::make_unique<ProjectCardView>();
                card = known.get();
            }
            card->setGroup(*group, excludeID, now);
            card->round = m_round;
            m_sections[i].append(card);
        }
        count += static_cast<std::size_t>(m_sections[i].size());
        if (m_sections[i].size() != before.size())
            m_headings[i]->setDrawing(composeHeading(allProjectSections[i], m_sections[i].size()));
    }
    if (count < m_cards.size()) {
        std::erase_if(m_cards, [this](const auto &card) {
            if (card.second->round == m_round)
                return false;
            if (Transition *folding = motion(cardKey(card.first)); m_motions.removeOne(folding))
                folding->deleteLater(); // a card that comes back is folded
            return true;
        });
    }
    layOut();
}

void BoardView::layOut()
{
    QSet<const ProjectCardView *> moving; // of which something is not folded
    for (const Transition *transition : std::as_const(m_motions)) {
        const QString &name = transition->objectName();
        const std::optional<AgentTask> line = m_store.task(name);
        const auto card = m_cards.find(line ? line->project : projectOfCardKey(name));
        if (card != m_cards.end())
            moving.insert(card->second.get());
    }
    m_items.clear();
    const double inside = cardWidth();
    double y = boardPaddingY;
    const auto add = [&](Item::Kind kind, DrawnView *view, double margin = 0) {
        const QRectF box(boardPaddingX, y, inside, view->drawing().size.height());
        m_items.push_back({.kind = kind, .box = box});
        view->place(box, margin);
        y = box.bottom();
    };
    if (m_banner.isShown()) {
        add(Item::Kind::Banner, m_bannerView);
        y += boardGap;
    }
    add(Item::Kind::FocusArea, m_focusAreaView, FocusCardView::shadowMargin);
    for (std::size_t i = 0; i < m_sections.size(); ++i) {
        if (m_sections[i].isEmpty())
            continue;
        y += boardGap;
        add(Item::Kind::Heading, m_headings[i]);
        m_items.back().index = static_cast<qsizetype>(i);
        for (ProjectCardView *card : std::as_const(m_sections[i]))
            y = layOutCard(*card, y + sectionGap, moving.contains(card));
    }
    resize(width(), static_cast<int>(y) + boardPaddingY);
    m_bannerView->setVisible(m_banner.isShown()); // only now: the focus goes from what is hidden to a neighbour
    for (std::size_t i = 0; i < m_sections.size(); ++i)
        m_headings[i]->setVisible(!m_sections[i].isEmpty());
    showNear();
}

double BoardView::layOutCard(ProjectCardView &card, double y, bool hasMotion)
{
    const QRectF room(boardPaddingX, y, cardWidth(), 0);
    card.itemIndex = m_items.size();
    m_items.push_back({.kind = Item::Kind::Card, .box = room, .card = &card});
    const Transition *folding = hasMotion && card.canFold() ? motion(cardKey(card.name())) : nullptr;
    const double unfolded = !card.canFold() ? 1 : folding ? folding->amount() : 0;
    const qsizetype activeCount = card.activeLines().size();
    const qsizetype count = activeCount + (unfolded > 0 ? card.quietLines().size() : 0);
    double top = y + card.linesTop();
    double activeEnd = top;
    const double left = room.left() + card.left();
    const double lineWidth = card.lineWidth(room.width());
    const int folded = LineRowView::foldedHeight();
    for (qsizetype i = 0; i < count; ++i) {
        top += ProjectCardView::gap;
        const QRectF box(left, top, lineWidth, hasMotion ? rowHeight(card, i) : folded);
        m_items.push_back({.kind = Item::Kind::Row, .box = box, .card = &card, .index = i});
        top = box.bottom();
        activeEnd = i < activeCount ? top : activeEnd;
    }
    // Lines that are being folded away are cut off where that has got to.
    const double end = std::round(activeEnd + (top - activeEnd) * unfolded);
    for (std::size_t i = card.itemIndex + 1; end < top && i < m_items.size(); ++i)
        m_items[i].box.setBottom(std::max(m_items[i].box.top(), std::min(m_items[i].box.bottom(), end)));
    double bottom = end;
    if (card.canFold()) {
        const QRectF box(left, end + ProjectCardView::gap, lineWidth, ProjectCardView::foldHeight());
        m_items.push_back({.kind = Item::Kind::Fold, .box = box, .card = &card});
        bottom = box.bottom();
    }
    m_items[card.itemIndex].box.setHeight(std::round(bottom - y + ProjectCardView::paddingY));
    return m_items[card.itemIndex].box.bottom();
}

double BoardView::rowHeight(const ProjectCardView &card, qsizetype index)
{
    const int folded = LineRowView::foldedHeight();
    const Transition *unfolding = motion(card.line(index).id);
    return unfolding ? std::round(folded + unfolding->amount() * (row(card, index)->unfoldedHeight() - folded))
                     : folded;
}

void BoardView::paintEvent(QPaintEvent *event)
{
    QPainter(this).fillRect(event->rect(), Theme::bg);
}
