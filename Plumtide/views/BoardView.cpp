#include "Plumtide/views/BoardView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/FocusCardView.h"
#include "Plumtide/views/HStack.h"
#include "Plumtide/views/LineRowView.h"
#include "Plumtide/views/Transition.h"

#include <QPaintEvent>
#include <QPainter>
#include <QSet>
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
constexpr int nearDistance = 140; // above and below what is seen
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

QString cardKey(const QString &project)
{
    return u"card[%1]"_s.arg(project);
}

QString foldKey(const QString &project)
{
    return u"fold[%1]"_s.arg(project);
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
    m_bannerView->setDrawing(banner.compose(width() - 2 * boardPaddingX));
    if (banner.isShown() && !banner.isCard() && !(before.isShown() && !before.isCard()))
        QTimer::singleShot(messageTime, this, &BoardView::messageRead);
}

void BoardView::focusArea(const std::optional<AgentTask> &first, const QDateTime &now)
{
    const FocusArea area{first, first ? shortAgo(first->updatedAt, now) : QString(),
                         first ? std::nullopt : emptyStateHintSource()};
    if (std::exchange(m_focusArea, area) == area && m_round > 0)
        return;
    const int inside = width() - 2 * boardPaddingX;
    m_focusAreaView->setDrawing(first ? FocusCardView::compose(*first, now, inside)
                                      : AllClearView::compose(emptyStateHintSource(), inside));
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
        for (const ProjectGroup &group : sections[i]) {
            // The line in the focus card is not listed a second time.
            const QString excludeID = first && first->project == group.name ? first->id : QString();
            if (!excludeID.isEmpty() && group.lines.size() == 1)
                continue;
            ProjectCardView *card = before.value(m_sections[i].size());
            if (!card || card->name() != group.name) { // it has another place than before
                std::unique_ptr<ProjectCardView> &known = m_cards[group.name];
                if (!known)
                    known = std::make_unique<ProjectCardView>();
                card = known.get();
            }
            card->setGroup(group, excludeID, now);
            card->round = m_round;
            m_sections[i].append(card);
        }
        count += static_cast<std::size_t>(m_sections[i].size());
        if (m_sections[i].size() != before.size())
            m_headings[i]->setDrawing(composeHeading(allProjectSections[i], m_sections[i].size()));
    }
    if (count < m_cards.size())
        std::erase_if(m_cards, [this](const auto &card) { return card.second->round != m_round; });
    layOut();
}

void BoardView::layOut()
{
    QStringList moving; // the projects of rows that are not folded
    for (const Transition *transition : std::as_const(m_motions)) {
        if (const std::optional<AgentTask> line = m_store.task(transition->objectName()))
            moving.append(line->project);
    }
    m_items.clear();
    const double inside = width() - 2 * boardPaddingX;
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
            y = layOutCard(*card, y + sectionGap, moving.contains(card->name()));
    }
    resize(width(), static_cast<int>(y) + boardPaddingY);
    m_bannerView->setVisible(m_banner.isShown()); // only now: the focus goes from what is hidden to a neighbour
    for (std::size_t i = 0; i < m_sections.size(); ++i)
        m_headings[i]->setVisible(!m_sections[i].isEmpty());
    showNear();
}

double BoardView::layOutCard(ProjectCardView &card, double y, bool hasMotion)
{
    const QRectF room(boardPaddingX, y, width() - 2 * boardPaddingX, 0);
    card.itemIndex = m_items.size();
    m_items.push_back({.kind = Item::Kind::Card, .box = room, .card = &card});
    const Transition *folding = card.canFold() ? motion(cardKey(card.name())) : nullptr;
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
    for (std::size_t i = card.itemIndex + 1; i < m_items.size(); ++i)
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

void BoardView::showNear()
{
    const QRectF seen(0, -y() - nearDistance, width(), parentWidget()->height() + 2 * nearDistance);
    QSet<const DrawnView *> shown;
    for (const Item &item : m_items) {
        if (item.box.bottom() > seen.top() && item.box.top() < seen.bottom())
            shown.insert(realise(item));
    }
    for (DrawnView *view : QList(m_views.cbegin(), m_views.cend())) {
        if (shown.contains(view))
            continue;
        const qsizetype index = isInUse(view) ? indexOf(view) : -1;
        if (index >= 0) {
            realise(m_items[static_cast<std::size_t>(index)]);
            continue;
        }
        m_views.remove(view->objectName());
        view->hide();        // the focus goes to a neighbour
        view->deleteLater(); // one of its buttons may be being pressed
    }
}

bool BoardView::isInUse(const DrawnView *view) const
{
    const QWidget *focus = window()->focusWidget();
    return view->isDown() || view == focus || view->isAncestorOf(focus) || view->isExpanded().value_or(false);
}

// Null while it has none.
DrawnView *BoardView::viewOf(const Item &item) const
{
    switch (item.kind) {
    case Item::Kind::Banner: return m_bannerView;
    case Item::Kind::FocusArea: return m_focusAreaView;
    case Item::Kind::Heading: return m_headings[static_cast<std::size_t>(item.index)];
    case Item::Kind::Card: return m_views.value(cardKey(item.card->name()));
    case Item::Kind::Row: return m_views.value(item.card->line(item.index).id);
    case Item::Kind::Fold: return m_views.value(foldKey(item.card->name()));
    }
    Q_UNREACHABLE();
}

DrawnView *BoardView::realise(const Item &item)
{
    if (item.kind == Item::Kind::Row) {
        LineRowView *view = row(*item.card, item.index);
        view->placeRow(item.box);
        return view;
    }
    const bool isCard = item.kind == Item::Kind::Card;
    DrawnView *view = viewOf(item);
    if (!view) {
        view = new DrawnView(isCard ? QAccessible::List : QAccessible::Grouping, this);
        view->setObjectName(isCard ? cardKey(item.card->name()) : foldKey(item.card->name()));
        m_views.insert(view->objectName(), view);
        connect(view, &DrawnView::wished, this, [this](const QString & /*fold*/, const QString &project) {
            const Transition *folding = motion(cardKey(project));
            setOpen(cardKey(project), !folding || !folding->isOpen(), true);
        });
        if (isCard)
            view->lower();        // behind its rows
        m_focusAreaView->lower(); // its shadow reaches below its neighbours
    }
    if (!item.card)
        return view;
    view->setOpacity(item.card->opacity());
    const Transition *folding = motion(cardKey(item.card->name()));
    const bool isOpen = folding && folding->isOpen();
    const bool isNew = view->drawing().size.isEmpty();
    if (isCard && (isNew || !std::exchange(item.card->isDrawn, true) || view->drawing().size != item.box.size()))
        view->setDrawing(item.card->compose(item.box.size()));
    if (!isCard && (std::exchange(item.card->drawnFold, isOpen) != isOpen || isNew))
        view->setDrawing(item.card->composeFold(isOpen));
    view->place(item.box);
    view->show();
    return view;
}

LineRowView *BoardView::row(const ProjectCardView &card, qsizetype index)
{
    const AgentTask &line = card.line(index);
    auto *view = static_cast<LineRowView *>(m_views.value(line.id));
    if (!view) {
        view = new LineRowView(line.id, this);
        m_views.insert(line.id, view);
        connect(view, &QAbstractButton::clicked, this, [this, id = line.id] { toggleRow(id); });
        connect(view, &DrawnView::wished, this, &BoardView::wished);
    }
    const Transition *unfolding = motion(line.id);
    view->setOpacity(card.opacity(), unfolding ? unfolding->amount() : 1);
    view->show(line, card.now(), static_cast<int>(card.lineWidth(width() - 2 * boardPaddingX)),
               unfolding && unfolding->isOpen(), unfolding);
    return view;
}

Transition *BoardView::motion(const QString &key) const
{
    const auto known = std::ranges::find(m_motions, key, &QObject::objectName);
    return known == m_motions.end() ? nullptr : *known;
}

void BoardView::setOpen(const QString &key, bool isOpen, bool isAnimated)
{
    Transition *transition = motion(key);
    if (!transition && !isOpen)
        return;
    if (!transition) {
        transition = new Transition(this);
        transition->setObjectName(key);
        m_motions.append(transition);
        connect(transition, &Transition::moved, this, [this, transition] {
            if (transition->isClosed() && m_motions.removeOne(transition))
                transition->deleteLater();
            Q_EMIT heightChanged();
        });
    }
    transition->set(isOpen, isAnimated && isVisible());
}

void BoardView::toggleRow(const QString &id)
{
    const QString before = std::exchange(m_expandedID, m_expandedID == id ? QString() : id);
    setOpen(before, false, true);
    setOpen(m_expandedID, !m_expandedID.isEmpty(), true);
}

std::optional<QRect> BoardView::showLine(const QString &id)
{
    for (const auto &[name, card] : m_cards) {
        const auto isIt = [&](const AgentTask &line) { return line.id == id; };
        if (card->canFold() && std::ranges::any_of(card->quietLines(), isIt))
            setOpen(cardKey(name), true, false);
    }
    if (m_expandedID != id)
        setOpen(m_expandedID, false, false);
    m_expandedID = id;
    setOpen(id, true, false);
    layOut();
    return rowPlace(id);
}

qsizetype BoardView::indexOfRow(const QString &id) const
{
    const std::optional<AgentTask> line = m_store.task(id);
    const auto card = line ? m_cards.find(line->project) : m_cards.end();
    if (card == m_cards.end())
        return -1;
    for (std::size_t i = card->second->itemIndex + 1; i < m_items.size() && m_items[i].card == card->second.get();
         ++i) {
        if (m_items[i].kind == Item::Kind::Row && card->second->line(m_items[i].index).id == id)
            return static_cast<qsizetype>(i);
    }
    return -1;
}

std::optional<QRect> BoardView::rowPlace(const QString &id) const
{
    const qsizetype index = indexOfRow(id);
    return index < 0 ? std::nullopt : std::optional(m_items[static_cast<std::size_t>(index)].box.toRect());
}

QString BoardView::rowAt(QPoint place) const
{
    const auto at = std::ranges::find_if(
        m_items, [&](const Item &item) { return item.kind == Item::Kind::Row && item.box.contains(place); });
    return at == m_items.end() ? QString() : at->card->line(at->index).id;
}

qsizetype BoardView::indexOf(const QWidget *control) const
{
    while (control && control->parentWidget() != this)
        control = control->parentWidget();
    if (const auto *row = qobject_cast<const LineRowView *>(control))
        return indexOfRow(row->line().id);
    const auto at = std::ranges::find_if(
        m_items, [&](const Item &item) { return item.kind != Item::Kind::Row && viewOf(item) == control; });
    return control && at != m_items.end() ? at - m_items.begin() : -1;
}

QWidget *BoardView::controlAfter(const QWidget *from, bool next, Among among)
{
    const qsizetype step = next ? 1 : -1;
    const auto size = static_cast<qsizetype>(m_items.size());
    qsizetype index = from ? indexOf(from) : -1;
    if (index >= 0 && among == Among::Controls) {
        const QList<QWidget *> controls = viewOf(m_items[static_cast<std::size_t>(index)])->controls();
        if (QWidget *control = controls.value(controls.indexOf(from) + step))
            return control;
    }
    for (index = index < 0 && !next ? size - 1 : index + step; index >= 0 && index < size; index += step) {
        const Item &item = m_items[static_cast<std::size_t>(index)];
        if (item.kind == Item::Kind::Card || (item.kind != Item::Kind::Row && among == Among::Rows))
            continue;
        const QList<QWidget *> controls = realise(item)->controls();
        if (!controls.isEmpty())
            return next || among == Among::Rows ? controls.first() : controls.last();
    }
    return nullptr;
}

QWidget *BoardView::controlNear(const QWidget *from)
{
    const int y = from->mapTo(this, QPoint()).y();
    for (const Item &item : m_items) {
        const QList<QWidget *> controls = item.box.bottom() > y ? realise(item)->controls() : QList<QWidget *>();
        if (!controls.isEmpty())
            return controls.first();
    }
    return controlAfter(nullptr, false);
}

void BoardView::paintEvent(QPaintEvent *event)
{
    QPainter(this).fillRect(event->rect(), Theme::bg);
}
