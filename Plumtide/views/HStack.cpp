#include "Plumtide/views/HStack.h"

#include "Plumtide/views/SourceChip.h"

#include <algorithm>

void HStack::add(Thing thing)
{
    thing.gap = m_things.empty() ? 0 : m_gap;
    m_things.push_back(std::move(thing));
}

void HStack::dot(const char *name, double diameter, QColor color)
{
    add({.kind = Thing::Kind::Dot, .name = name, .size = {diameter, diameter}, .color = color});
}

void HStack::text(const char *name, const QString &text, const TextStyle &style, Shrink shrink, int maxLines)
{
    const Theme::Face &face = Theme::face(style);
    add({.kind = Thing::Kind::Text,
         .name = name,
         .size = {face.advance(text), face.lineHeight},
         .text = text,
         .style = style,
         .shrink = shrink,
         .maxLines = maxLines});
}

void HStack::icon(const char *name, const QString &icon, double size, QColor color)
{
    add({.kind = Thing::Kind::Icon, .name = name, .size = {size, size}, .color = color, .text = icon});
}

void HStack::sourceChip(const char *name, const char *textName, TaskSource source)
{
    add({.kind = Thing::Kind::Chip,
         .name = name,
         .textName = textName,
         .size = SourceChip(source).size(),
         .source = source});
}

void HStack::spacer(double minimum)
{
    add({.kind = Thing::Kind::Spacer, .size = {minimum, 0}});
}

void HStack::room(QSizeF size)
{
    add({.kind = Thing::Kind::Room, .size = size});
}

// Gives every text its width and its lines, and every spacer its share of the rest.
void HStack::layTexts(double width)
{
    double rest = width;
    for (const Thing &thing : m_things)
        rest -= thing.gap + thing.size.width();
    for (const Shrink turn : {Shrink::First, Shrink::Second}) {
        for (Thing &thing : m_things) {
            if (rest >= 0 || thing.shrink != turn)
                continue;
            const double less = std::min(-rest, thing.size.width());
            thing.size.rwidth() -= less;
            rest += less;
        }
    }
    const auto isSpacer = [](const Thing &thing) { return thing.kind == Thing::Kind::Spacer; };
    const auto spacers = std::ranges::count_if(m_things, isSpacer);
    for (Thing &thing : m_things) {
        if (thing.kind == Thing::Kind::Text) {
            // A hair more than it measured: sums of fractions must not cut a text that fits.
            thing.block = layText(thing.text, thing.style, thing.size.width() + 0.01, thing.maxLines);
            thing.size.setHeight(thing.block.size.height());
        } else if (isSpacer(thing) && rest > 0) {
            thing.size.rwidth() += rest / static_cast<double>(spacers);
        }
    }
}

QRectF HStack::place(Drawing &drawing, QPointF topLeft, double width)
{
    layTexts(width);
    double height = 0;
    for (const Thing &thing : m_things)
        height = std::max(height, thing.size.height());
    m_rooms.clear();
    double x = topLeft.x();
    double end = x;
    for (Thing &thing : m_things) {
        x += thing.gap;
        const QRectF box(QPointF(x, topLeft.y() + (height - thing.size.height()) / 2), thing.size);
        switch (thing.kind) {
        case Thing::Kind::Dot: drawing.addDot(thing.name, box, thing.color); break;
        case Thing::Kind::Text: drawing.add(thing.name, box, std::move(thing.block.content)); break;
        case Thing::Kind::Icon: drawing.add(thing.name, box, Drawing::Icon{thing.text, thing.color}); break;
        case Thing::Kind::Chip:
            SourceChip(thing.source).draw(drawing, thing.name, thing.textName, box.topLeft());
            break;
        case Thing::Kind::Room: m_rooms.append(box); break;
        case Thing::Kind::Spacer: break;
        }
        x += thing.size.width();
        if (thing.kind != Thing::Kind::Spacer)
            end = x;
    }
    return {topLeft, QPointF(end, topLeft.y() + height)};
}
