#include "Plumtide/views/BoardView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
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
    : QWidget(parent), m_store(store), m_installer(installer)
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
    const QRectF box(0, 0, width() - 2 * boardPaddingX, 0);
    m_content.bannerHeight = m_banner.isShown() ? updateDrawing({Kind::Banner, box})->drawing().size.height() : 0;
    m_content.focusCardHeight = updateDrawing({Kind::FocusCard, box})->drawing().size.height();
    ++m_lastRefresh;
    m_items.clear(); // they point to cards, which change now
    const auto sections = m_store.sections();
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const QList<ProjectCardView *> before = std::exchange(m_content.sections[i], {});
        m_content.haveReplied[i] = std::ranges::any_of(sections[i], &ProjectGroup::hasReplied);
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
    }
    std::erase_if(m_cards, [this](const auto &known) {
        if (known.second.lastSeenRefresh == m_lastRefresh)
            return false;
        forgetLines(known.second);
        delete m_expansions.take({Kind::Card, known.first}); // a card that comes back is folded
        return true;
    });
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
        const QRectF box(0, 0, card->face.innerWidth(width() - 2 * boardPaddingX), 0);
        const double folded = LineRowView::foldedHeight();
        const double unfolded = std::round(updateDrawing({Kind::Row, box, card, index})->drawing().size.height());
        expansions[card].rowHeights[key.id] = std::round(folded + amountOf(key) * (unfolded - folded));
    }
    const double height = layoutBoard(m_content, expansions, width(), m_items);
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
