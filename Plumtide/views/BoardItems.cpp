#include "Plumtide/views/BoardView.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/LineRowView.h"
#include "Plumtide/views/Transition.h"

#include <QSet>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

// BoardView's items and their widgets: which there are, what has the focus after which, what is unfolded.

namespace {

constexpr int nearDistance = 140; // above and below what is seen

QString foldKey(const QString &project)
{
    return u"fold[%1]"_s.arg(project);
}

} // namespace

QString BoardView::cardKey(const QString &project)
{
    return u"card[%1]"_s.arg(project);
}

QString BoardView::projectOfCardKey(const QString &key)
{
    return key.mid(5, key.size() - 6); // or, where it is no such key, the name of no project
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
            realise(item(index));
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
        view->place(item.box, item.box.height() > 0 ? LineRowView::margin : 0);
        view->setVisible(true);
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
    auto *view = qobject_cast<LineRowView *>(m_views.value(line.id));
    if (!view) {
        view = new LineRowView(line.id, this);
        m_views.insert(line.id, view);
        connect(view, &QAbstractButton::clicked, this, [this, id = line.id] { toggleRow(id); });
        connect(view, &DrawnView::wished, this, &BoardView::wished);
        connect(view, &DrawnView::menuRequested, this, &BoardView::menuRequested);
    }
    const Transition *unfolding = motion(line.id);
    view->setOpacity(card.opacity(), unfolding ? unfolding->amount() : 1);
    view->show(line, card.now(), static_cast<int>(card.lineWidth(cardWidth())), unfolding && unfolding->isOpen(),
               unfolding);
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
            Q_EMIT heightChanged(transition->objectName());
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
    const std::optional<QRect> place = rowPlace(id);
    if (!place) // it is the next step, or not on the board: it must not come unfolded later
        setOpen(std::exchange(m_expandedID, {}), false, false);
    return place;
}

qsizetype BoardView::indexOfRow(const QString &id) const
{
    // The store may know already that the line has gone to another project.
    const std::optional<AgentTask> line = m_store.task(id);
    const auto *view = qobject_cast<const LineRowView *>(m_views.value(id));
    for (const QString &project : {line ? line->project : QString(), view ? view->line().project : QString()}) {
        const auto card = m_cards.find(project);
        if (card == m_cards.end())
            continue;
        for (std::size_t i = card->second->itemIndex + 1; i < m_items.size() && m_items[i].card == card->second.get();
             ++i) {
            if (m_items[i].kind == Item::Kind::Row && card->second->line(m_items[i].index).id == id)
                return static_cast<qsizetype>(i);
        }
    }
    return -1;
}

std::optional<QRect> BoardView::rowPlace(const QString &id) const
{
    const qsizetype index = indexOfRow(id);
    return index < 0 ? std::nullopt : std::optional(item(index).box.toRect());
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
        const QList<QWidget *> controls = viewOf(item(index))->controls();
        if (QWidget *control = controls.value(controls.indexOf(from) + step))
            return control;
    }
    for (index = index < 0 && !next ? size - 1 : index + step; index >= 0 && index < size; index += step) {
        const Item &item = this->item(index);
        if (item.kind == Item::Kind::Card || (item.kind != Item::Kind::Row && among == Among::Rows))
            continue;
        const QList<QWidget *> controls = realise(item)->controls();
        if (!controls.isEmpty())
            return next || among == Among::Rows ? controls.first() : controls.last();
    }
    return nullptr;
}

QWidget *BoardView::controlNear(int y)
{
    for (const Item &item : m_items) {
        const QList<QWidget *> controls = item.box.bottom() > y ? realise(item)->controls() : QList<QWidget *>();
        if (!controls.isEmpty())
            return controls.first();
    }
    return controlAfter(nullptr, false);
}
