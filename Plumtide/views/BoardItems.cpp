#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/DrawnView.h"

#include <algorithm>

using Kind = BoardItem::Kind;

// BoardView's items: where they are, and which of them has the focus after which.

qsizetype BoardView::indexOf(const BoardItem::Key &key) const
{
    const auto isIt = [&](const BoardItem &item) { return item.kind == key.kind && item.key() == key; };
    if (key.kind != Kind::Row) {
        const auto at = std::ranges::find_if(m_items, isIt);
        return at == m_items.end() ? -1 : at - m_items.begin();
    }
    const ProjectCardView *card = m_cardOfLine.value(key.id);
    qsizetype index = card ? std::min(card->itemIndex, itemCount()) - 1 : -1;
    while (index >= 0 && item(index).card == card && !isIt(item(index)))
        --index;
    return index >= 0 && item(index).card == card ? index : -1;
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
    for (const auto &[key, view] : m_views.asKeyValueRange()) {
        if (view.widget == control)
            return indexOf(key);
    }
    return -1;
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
