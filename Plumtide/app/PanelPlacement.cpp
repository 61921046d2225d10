#include "Plumtide/app/PanelPlacement.h"

#include <algorithm>

namespace {

enum class Edge { Top, Bottom, Left, Right };

Edge barEdge(QPoint at, const QRect &screen, const QRect &available)
{
    if (at.y() < available.top())
        return Edge::Top;
    if (at.y() > available.bottom())
        return Edge::Bottom;
    if (at.x() < available.left())
        return Edge::Left;
    if (at.x() > available.right())
        return Edge::Right;
    return at.y() <= screen.center().y() ? Edge::Top : Edge::Bottom;
}

// The one that takes the most room from the screen.
Edge barEdge(const QRect &screen, const QRect &available)
{
    const std::pair<int, Edge> edges[] = {
        {available.top() - screen.top(), Edge::Top},
        {screen.bottom() - available.bottom(), Edge::Bottom},
        {screen.right() - available.right(), Edge::Right},
        {available.left() - screen.left(), Edge::Left},
    };
    return std::ranges::max_element(edges, {}, &std::pair<int, Edge>::first)->second; // the first of equal ones
}

} // namespace

QPoint panelTopLeft(const QRect &item, const QRect &screen, const QRect &available, const QSize &size)
{
    const QPoint farthest(available.right() + 1 - size.width(), available.bottom() + 1 - size.height());
    const Edge edge = item.isEmpty() ? barEdge(screen, available) : barEdge(item.center(), screen, available);
    // Without a place: horizontal bars have the tray at their right end, vertical ones at their lower end.
    QPoint place = item.isEmpty() ? farthest : item.center() - QPoint(size.width() / 2, size.height() / 2);
    const bool leavesFree = item.height() > 1 && available.contains(item.center());
    switch (edge) {
    case Edge::Top: place.setY(leavesFree ? item.bottom() + 1 : available.top()); break;
    case Edge::Bottom: place.setY(leavesFree ? item.top() - size.height() : farthest.y()); break;
    case Edge::Left: place.setX(available.left()); break;
    case Edge::Right: place.setX(farthest.x()); break;
    }
    return {std::max(available.left(), std::min(place.x(), farthest.x())),
            std::max(available.top(), std::min(place.y(), farthest.y()))};
}
