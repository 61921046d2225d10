#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/Accessibility.h"
#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/DrawnView.h"

#include <QVariantAnimation>

#include <algorithm>

using namespace Qt::StringLiterals;
using Kind = BoardItem::Kind;

// BoardView's items: where they are, their widgets, and which of them has the focus after which.

qsizetype BoardView::indexOf(const BoardItem::Key &key) const
{
    if (key.kind == Kind::Row) {
        const ProjectCardView *card = m_cardOfLine.value(key.id);
        const qsizetype cardIndex = card ? indexOf({Kind::Card, card->face.project}) : -1;
        const qsizetype row = cardIndex < 0 ? -1 : card->indexOf(key.id);
        const qsizetype rows = rowCount(cardIndex);
        return row >= 0 && row < rows ? cardIndex - rows + row : -1;
    }
    if (key.kind == Kind::Card) {
        const auto card = m_cards.find(key.id);
        const qsizetype index = card == m_cards.end() ? itemCount() : card->second.itemIndex;
        return index < itemCount() && item(index).card == &card->second ? index : -1;
    }
    const auto at = std::ranges::find_if(
        m_items, [&](const BoardItem &item) { return item.kind == key.kind && item.key() == key; });
    return at == m_items.end() ? -1 : at - m_items.begin();
}

qsizetype BoardView::rowCount(qsizetype card) const
{
    return card > 0 && item(card - 1).card == item(card).card ? item(card - 1).index + 1 : 0;
}

std::optional<QRect> BoardView::rowRect(const QString &id) const
{
    const qsizetype index = indexOf({Kind::Row, id});
    return index < 0 ? std::nullopt : std::optional(item(index).box.toRect());
}

QString BoardView::rowAt(QPoint place) const
{
    const auto at = std::ranges::find_if(
        m_items, [&](const BoardItem &item) { return item.kind == Kind::Row && item.box.contains(place); });
    return at == m_items.end() ? QString() : at->key().id;
}

qsizetype BoardView::indexOf(const QWidget *control) const
{
    while (control && control->parentWidget() != this)
        control = control->parentWidget();
    const auto key = m_keys.constFind(control);
    return key == m_keys.cend() ? -1 : indexOf(*key);
}

BoardView::Content BoardView::contentOf(const BoardItem &item) const
{
    switch (item.kind) {
    case Kind::Banner: return m_banner;
    case Kind::FocusCard: return m_focusCard;
    case Kind::Heading:
        return BoardHeading{static_cast<ProjectSection>(item.index),
                            m_content.sections[static_cast<std::size_t>(item.index)].size(),
                            m_content.haveReplied[static_cast<std::size_t>(item.index)]};
    case Kind::Row:
        return LineRowView{item.card->lines.at(item.index), item.card->shownAt, isOpen(item.key()),
                           m_expansions.contains(item.key()), m_store.shownFolder(item.key().id)};
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
    if (key.kind == Kind::Heading) {
        connect(view, &QWidget::customContextMenuRequested, this, [this, view, section = key.id.toInt()](QPoint place) {
            Q_EMIT sectionMenuRequested(static_cast<ProjectSection>(section), view->mapToGlobal(place));
        });
        connect(view, &QAbstractButton::clicked, view,
                [view] { Q_EMIT view->customContextMenuRequested(view->rect().center()); });
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
    if (const auto *heading = std::get_if<BoardHeading>(&content)) { // a text for the pointer, a control for the keys
        widget->setFocusPolicy(heading->hasReplied ? Qt::TabFocus : Qt::NoFocus);
        widget->setContextMenuPolicy(heading->hasReplied ? Qt::CustomContextMenu : Qt::DefaultContextMenu);
    }
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
    const bool isRing = item.kind == Kind::Heading || (item.kind == Kind::Row && item.box.height() > 0);
    view->setContentRect(item.box,
                         item.kind == Kind::FocusCard ? FocusCardView::shadowMargin
                             : isRing                 ? LineRowView::margin
                                                      : 0);
    view->show();
    return view;
}

QWidget *BoardView::controlAfter(const QWidget *from, bool next, FocusScope scope)
{
    const qsizetype step = next ? 1 : -1;
    qsizetype index = from ? indexOf(from) : -1;
    if (index >= 0 && scope == FocusScope::Controls) {
        const QList<QWidget *> controls = ensureWidget(item(index))->controls();
        if (QWidget *control = controls.value(controls.indexOf(from) + step))
            return control;
    }
    for (index = index < 0 && !next ? itemCount() - 1 : index + step; index >= 0 && index < itemCount();
         index += step) {
        if (scope == FocusScope::Rows && item(index).kind != Kind::Row)
            continue;
        const QList<QWidget *> controls = ensureWidget(item(index))->controls();
        if (!controls.isEmpty())
            return next || scope == FocusScope::Rows ? controls.first() : controls.last();
    }
    return nullptr;
}

QWidget *BoardView::controlNear(int y)
{
    for (const BoardItem &item : m_items) {
        const QList<QWidget *> controls = item.box.bottom() > y ? ensureWidget(item)->controls() : QList<QWidget *>();
        if (!controls.isEmpty())
            return controls.first();
    }
    return controlAfter(nullptr, false);
}
