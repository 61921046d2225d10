#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/DrawnView.h"

#include <QEasingCurve>
#include <QVariantAnimation>

#include <algorithm>
#include <utility>

using Kind = BoardItem::Kind;

// BoardView's items: where they are, which of them has the focus after which, and how they are unfolded.

constexpr int expansionTime = 150; // milliseconds

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
