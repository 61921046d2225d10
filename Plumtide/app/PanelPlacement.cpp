#include "Plumtide/app/PanelPlacement.h"

#include <algorithm>

namespace {

Qt::Edge barEdge(QPoint at, const QRect &screen, const QRect &available)
{
    if (at.y() < available.top())
        return Qt::TopEdge;
    if (at.y() > available.bottom())
        return Qt::BottomEdge;
    if (at.x() < available.left())
        return Qt::LeftEdge;
    if (at.x() > available.right())
        return Qt::RightEdge;
    return at.y() <= screen.center().y() ? Qt::TopEdge : Qt::BottomEdge;
}

// Of the bar that takes the most space from the screen.
Qt::Edge barEdge(const QRect &screen, const QRect &available)
{
    const std::pair<int, Qt::Edge> edges[] = {
        {available.top() - screen.top(), Qt::TopEdge},
        {screen.bottom() - available.bottom(), Qt::BottomEdge},
        {screen.right() - available.right(), Qt::RightEdge},
        {available.left() - screen.left(), Qt::LeftEdge},
    };
    return std::ranges::max_element(edges, {}, &std::pair<int, Qt::Edge>::first)->second; // the first of equal ones
}

} // namespace

QPoint panelTopLeft(const QRect &item, const QRect &screen, const QRect &available, const QSize &size)
{
    const QPoint farthest(available.right() + 1 - size.width(), available.bottom() + 1 - size.height());
    const Qt::Edge edge = item.isEmpty() ? barEdge(screen, available) : barEdge(item.center(), screen, available);
    // Horizontal bars have the tray at their right end, vertical ones at their lower end.
    QPoint place = item.isEmpty() ? farthest : item.center() - QPoint(size.width() / 2, size.height() / 2);
    const bool mustNotCoverItem = item.height() > 1 && available.contains(item.center());
    switch (edge) {
    case Qt::TopEdge: place.setY(mustNotCoverItem ? item.bottom() + 1 : available.top()); break;
    case Qt::BottomEdge: place.setY(mustNotCoverItem ? item.top() - size.height() : farthest.y()); break;
    case Qt::LeftEdge: place.setX(available.left()); break;
    case Qt::RightEdge: place.setX(farthest.x()); break;
    }
    return movedInside(place, size, available);
}

QPoint movedInside(QPoint topLeft, const QSize &size, const QRect &area)
{
    return {std::max(area.left(), std::min(topLeft.x(), area.right() + 1 - size.width())),
            std::max(area.top(), std::min(topLeft.y(), area.bottom() + 1 - size.height()))};
}
