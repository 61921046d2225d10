#include "Plumtide/views/BoardView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/Accessibility.h"
#include "Plumtide/views/DrawnView.h"

#include <QAction>
#include <QApplication>
#include <QEasingCurve>
#include <QPaintEvent>
#include <QPainter>
#include <QSet>
#include <QSignalBlocker>
#include <QTimer>
#include <QVariantAnimation>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = BoardItem::Kind;

namespace {

constexpr int nearDistance = 140; // above and below what is seen
constexpr auto messageTime = 4s;
constexpr int expansionTime = 150; // milliseconds

} // namespace

BoardView::BoardView(const TaskStore &store, HooksInstaller &installer, int width, QWidget *parent)
    : QWidget(parent), m_store(store), m_installer(installer), m_cardWidth(width - 2 * boardPaddingX)
{
    setAttribute(Qt::WA_OpaquePaintEvent); // so that scrolling moves pixels instead of painting them
    resize(width, 0);
    AgentTask line;
    line.id = u"cc-"_s; // an agent's line has all of the keys
    for (const OfferedAction &offered : actionsFor(line)) {
        auto *action = new QAction(this);
        action->setShortcuts(offered.keys);
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        action->setAutoRepeat(false);
        connect(action, &QAction::triggered, this, [this, keys = offered.keys] { actOnFocusedLine(keys); });
        addAction(action);
    }
}

void BoardView::actOnFocusedLine(const QList<QKeySequence> &keys)
{
    const auto *view = qobject_cast<DrawnView *>(QApplication::focusWidget());
    const std::optional<AgentTask> line = view && view->isLineChosen() ? m_store.task(view->line()) : std::nullopt;
    const QList<OfferedAction> offered = line ? actionsFor(*line) : QList<OfferedAction>();
    const auto action = std::ranges::find(offered, keys, &OfferedAction::keys);
    if (action != offered.end())
        Q_EMIT activated(LineCommand{action->action, line->id});
}

std::optional<TaskSource> BoardView::silentSource() const
{
    const std::optional<TaskSource> filter = m_store.sourceFilter();
    if ((!filter || filter == TaskSource::claude) && m_installer.claudeInstalled() && !m_store.hasSeenClaudeEvent())
        return TaskSource::claude;
    if ((!filter || filter == TaskSource::codex) && m_installer.codexInstalled() && !m_store.hasSeenCodexEvent())
        return TaskSource::codex;
    return std::nullopt;
}

void BoardView::refresh(const QDateTime &now, const QString &lineToShow)
{
    const OnboardingBanner banner{!m_installer.claudeInstalled(), !m_installer.codexInstalled(), m_installer.message()};
    if (!std::exchange(m_banner, banner).isMessage() && banner.isMessage())
        QTimer::singleShot(messageTime, &m_installer, &HooksInstaller::clearMessage);
    const std::optional<AgentTask> first = m_store.firstWaiting();
    m_focusCard = {first, first ? shortAgo(first->updatedAt, now) : QString(), first ? std::nullopt : silentSource()};
    const QRectF box(0, 0, m_cardWidth, 0);
    m_content.bannerHeight = m_banner.isShown() ? updateDrawing({Kind::Banner, box})->drawing().size.height() : 0;
    m_content.focusCardHeight = updateDrawing({Kind::FocusCard, box})->drawing().size.height();
    ++m_lastRefresh;
    m_items.clear(); // they point to cards, which change now
    m_topLevelItems.clear();
    const auto sections = m_store.sections();
    qsizetype count = 0;
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const QList<ProjectCardView *> before = std::exchange(m_content.sections[i], {});
        for (const ProjectGroup *group : sections[i]) {
            // The line in the focus card is not listed a second time.
            const QString excludeID = first && first->project == group->name ? first->id : QString();
            if (!excludeID.isEmpty() && group->lines.size() == 1)
                continue;
            ProjectCardView *card = before.value(m_content.sections[i].size());
            // Revisions are compared first, since names are elsewhere in memory, which is slower.
            if (!card || (card->revision != group->revision && card->face.project != group->name))
                card = &m_cards[group->name];
            if (!card->shows(*group, excludeID, now)) {
                forgetLines(*card);
                card->setGroup(*group, excludeID, now);
                for (const AgentTask &line : card->lines)
                    m_cardOfLine.insert(line.id, card);
            }
            card->lastSeenRefresh = m_lastRefresh;
            m_content.sections[i].append(card);
        }
        count += m_content.sections[i].size();
    }
    if (count < static_cast<qsizetype>(m_cards.size())) {
        std::erase_if(m_cards, [this](const auto &known) {
            if (known.second.lastSeenRefresh == m_lastRefresh)
                return false;
            forgetLines(known.second);
            delete m_expansions.take({Kind::Card, known.first}); // a card that comes back is folded
            return true;
        });
    }
    if (!lineToShow.isEmpty()) {
        const QSignalBlocker isLaidOutBelow(this);
        const ProjectCardView *card = m_cardOfLine.value(lineToShow);
        if (card && card->indexOf(lineToShow) >= card->rowCount(0))
            setOpen({Kind::Card, card->face.project}, true, false);
        expandRow(card ? lineToShow : QString(), false);
    }
    layOut();
}

void BoardView::forgetLines(const ProjectCardView &card)
{
    for (const AgentTask &line : card.lines) {
        if (m_cardOfLine.value(line.id) == &card) // another may have got it meanwhile
            m_cardOfLine.remove(line.id);
    }
}

void BoardView::layOut()
{
    QHash<const ProjectCardView *, CardExpansion> expansions;
    const auto amountOf = [this](const BoardItem::Key &key) {
        const QVariantAnimation *expansion = m_expansions.value(key);
        return expansion ? expansion->currentValue().toDouble() : 0;
    };
    for (const BoardItem::Key &key : m_expansions.keys()) {
        if (const auto known = m_cards.find(key.id); key.kind == Kind::Card && known != m_cards.end())
            expansions[&known->second].quietLines = amountOf(key);
        ProjectCardView *card = key.kind == Kind::Row ? m_cardOfLine.value(key.id) : nullptr;
        const qsizetype index = card ? card->indexOf(key.id) : 0;
        if (!card || index >= card->rowCount(amountOf({Kind::Card, card->face.project})))
            continue;
        const QRectF box(0, 0, card->lineWidth(m_cardWidth), 0);
        const double folded = LineRowView::foldedHeight();
        const double unfolded = std::round(updateDrawing({Kind::Row, box, card, index})->drawing().size.height());
        expansions[card].rowHeights[key.id] = std::round(folded + amountOf(key) * (unfolded - folded));
    }
    const double height = layoutBoard(m_content, expansions, width(), m_items);
    m_topLevelItems.clear();
    for (qsizetype index = 0; index < itemCount(); ++index) {
        if (item(index).kind != Kind::Row)
            m_topLevelItems.push_back(index);
    }
    resize(width(), static_cast<int>(height));
    updateVisibleWidgets();
}

void BoardView::updateVisibleWidgets()
{
    const QRectF seen(0, -y() - nearDistance, width(), parentWidget()->height() + 2 * nearDistance);
    QSet<const DrawnView *> shown;
    for (const BoardItem &item : m_items) {
        if (item.box.bottom() > seen.top() && item.box.top() < seen.bottom())
            shown.insert(ensureWidget(item));
    }
    const QWidget *focus = window()->focusWidget();
    for (const BoardItem::Key &key : m_views.keys()) {
        DrawnView *view = m_views.value(key).widget;
        if (!view || shown.contains(view))
            continue; // removed meanwhile, when the focus moved, or near
        const bool isInUse = key.kind == Kind::Banner || key.kind == Kind::FocusCard || view->isDown() || view == focus
            || view->isAncestorOf(focus) || view->isExpanded().value_or(false);
        if (const qsizetype index = isInUse ? indexOf(key) : -1; index >= 0) {
            ensureWidget(item(index));
            continue;
        }
        m_views.remove(key);
        m_keys.remove(view);
        view->hide();        // the focus goes to a neighbour
        view->deleteLater(); // one of its buttons may be being pressed
    }
}

BoardView::Content BoardView::contentOf(const BoardItem &item) const
{
    switch (item.kind) {
    case Kind::Banner: return m_banner;
    case Kind::FocusCard: return m_focusCard;
    case Kind::Heading:
        return BoardHeading{static_cast<ProjectSection>(item.index),
                            m_content.sections[static_cast<std::size_t>(item.index)].size()};
    case Kind::Row:
        return LineRowView{item.card->lines.at(item.index), item.card->shownAt, isOpen(item.key()),
                           m_expansions.contains(item.key())};
    case Kind::Card:
        ProjectCardFace face = item.card->face;
        face.isFoldOpen = isOpen(item.key());
        return face;
    }
    Q_UNREACHABLE();
}

DrawnView *BoardView::makeWidget(const BoardItem::Key &key)
{
    static const QHash<Kind, QAccessible::Role> roles{
        {Kind::Heading, QAccessible::Heading}, {Kind::Card, QAccessible::List}, {Kind::Row, QAccessible::ListItem}};
    auto *view = new DrawnView(roles.value(key.kind, QAccessible::Grouping), this);
    if (key.kind == Kind::Row) {
        view->setPressable();
        view->setLine(key.id);
        connect(view, &QAbstractButton::clicked, this,
                [this, id = key.id] { expandRow(m_expandedID == id ? QString() : id, true); });
    }
    connect(view, &DrawnView::menuRequested, this, &BoardView::menuRequested);
    connect(view, &DrawnView::activated, this, &BoardView::activated);
    if (key.kind == Kind::FocusCard || key.kind == Kind::Card)
        view->lower(); // behind its rows; the focus card's shadow is behind its neighbours
    return view;
}

DrawnView *BoardView::updateDrawing(const BoardItem &item)
{
    View &view = m_views[item.key()];
    if (!view.widget)
        m_keys.insert(view.widget = makeWidget(item.key()), item.key());
    DrawnView *widget = view.widget;
    const std::pair drawn(contentOf(item), item.box.width());
    if (view.drawn == drawn)
        return widget;
    view.drawn = drawn;
    const Content &content = drawn.first;
    if (const auto *card = std::get_if<FocusCardView>(&content))
        widget->setLine(card->line ? card->line->id : QString());
    const auto *row = std::get_if<LineRowView>(&content);
    if (row) {
        widget->setAccessibleName(row->spokenName());
        // The goal and the events are heard only when they are seen.
        widget->setAccessibleDescription(row->isExpanded ? row->spokenBody() : QString());
    }
    widget->setDrawing(std::visit([&](const auto &shown) { return shown.compose(drawn.second); }, content));
    if (!row)
        return widget;
    const bool isUnfolding = widget->isExpanded() == false && row->isExpanded;
    widget->setExpanded(row->isExpanded);
    if (isUnfolding)
        announce(*widget, u"已展开\n"_s + row->spokenBody());
    return widget;
}

DrawnView *BoardView::ensureWidget(const BoardItem &item)
{
    DrawnView *view = updateDrawing(item);
    const QVariantAnimation *expansion = item.kind == Kind::Row ? m_expansions.value(item.key()) : nullptr;
    view->setOpacity(item.card ? item.card->opacity() : 1, expansion ? expansion->currentValue().toDouble() : 1);
    view->setContentRect(item.box,
                         item.kind == Kind::FocusCard                          ? FocusCardView::shadowMargin
                             : item.kind == Kind::Row && item.box.height() > 0 ? LineRowView::margin
                                                                               : 0);
    view->show();
    return view;
}

bool BoardView::isOpen(const BoardItem::Key &key) const
{
    const QVariantAnimation *expansion = m_expansions.value(key);
    return expansion && expansion->direction() == QVariantAnimation::Forward;
}

void BoardView::setOpen(const BoardItem::Key &key, bool open, bool isAnimated)
{
    if (open == isOpen(key))
        return;
    QVariantAnimation *&expansion = m_expansions[key];
    if (!expansion) {
        QEasingCurve easeInOut(QEasingCurve::BezierSpline);
        easeInOut.addCubicBezierSegment({0.42, 0}, {0.58, 1}, {1, 1});
        expansion = new QVariantAnimation(this);
        expansion->setDuration(expansionTime);
        expansion->setEasingCurve(easeInOut);
        expansion->setStartValue(0.0);
        expansion->setEndValue(1.0);
        connect(expansion, &QVariantAnimation::valueChanged, this, [this, key] { Q_EMIT heightChanged(key.id); });
        connect(expansion, &QVariantAnimation::finished, this, [this, key] {
            if (isOpen(key))
                return;
            m_expansions.take(key)->deleteLater();
            Q_EMIT heightChanged(key.id);
        });
    }
    expansion->setDirection(open ? QVariantAnimation::Forward : QVariantAnimation::Backward);
    expansion->start();
    if (!isAnimated || !isVisible())
        expansion->setCurrentTime(open ? expansionTime : 0); // which ends it
    Q_EMIT heightChanged(key.id);
}

void BoardView::expandRow(const QString &id, bool isAnimated)
{
    if (m_expandedID != id)
        setOpen({Kind::Row, std::exchange(m_expandedID, id)}, false, isAnimated);
    if (!id.isEmpty())
        setOpen({Kind::Row, id}, true, isAnimated);
}

void BoardView::toggleFold(const QString &project)
{
    const BoardItem::Key key{Kind::Card, project};
    setOpen(key, !isOpen(key), true);
}

void BoardView::paintEvent(QPaintEvent *event)
{
    QPainter(this).fillRect(event->rect(), Theme::bg);
}
