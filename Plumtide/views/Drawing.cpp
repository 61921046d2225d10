#include "Plumtide/views/Drawing.h"

#include <QPainter>
#include <QPixmapCache>
#include <QStringList>
#include <QSvgRenderer>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// The opaque colour that `color` has at `opacity` over the window's background.
QColor overBackground(const QColor &color, double opacity)
{
    if (opacity >= 1)
        return color;
    const auto mixed = [opacity](int channel, int background) {
        return static_cast<int>(std::lround(opacity * channel + (1 - opacity) * background));
    };
    return {mixed(color.red(), Theme::bg.red()), mixed(color.green(), Theme::bg.green()),
            mixed(color.blue(), Theme::bg.blue()), color.alpha()};
}

// Rounds to whole device pixels, so that edges are sharp at every scale.
struct PixelGrid
{
    double ratio;
    QPointF origin; // of the drawing, in device pixels

    [[nodiscard]] double x(double value) const { return (std::round(value * ratio + origin.x()) - origin.x()) / ratio; }
    [[nodiscard]] double y(double value) const { return (std::round(value * ratio + origin.y()) - origin.y()) / ratio; }
    [[nodiscard]] QRectF snapped(const QRectF &box) const
    {
        return {QPointF(x(box.left()), y(box.top())), QPointF(x(box.right()), y(box.bottom()))};
    }
};

QPainterPath roundedPath(const QRectF &box, double radius)
{
    QPainterPath path;
    path.addRoundedRect(box, radius, radius);
    return path;
}

// The part of a blurred shadow outside its box. It fades like a Gaussian blur; at the corners it has circles.
void paintShadow(QPainter &painter, const QRectF &box, double radius, const Drawing::Shadow &shadow)
{
    const double reach = radius + 3 * shadow.deviation;
    QGradientStops stops; // from the corners' centres outwards
    constexpr int count = 16;
    for (int i = 0; i <= count; ++i) {
        const double at = static_cast<double>(i) / count;
        const double covered = std::erfc((at * reach - radius) / shadow.deviation / std::sqrt(2)) / 2;
        stops.append({at, Theme::faded(shadow.color, covered)});
    }
    const QRectF inner = box.translated(shadow.offset).adjusted(radius, radius, -radius, -radius);
    const double xs[] = {inner.left() - reach, inner.left(), inner.right(), inner.right() + reach};
    const double ys[] = {inner.top() - reach, inner.top(), inner.bottom(), inner.bottom() + reach};
    QPainterPath outside; // the box may be a little translucent
    outside.addRect(inner.adjusted(-reach, -reach, reach, reach));
    outside.addRoundedRect(box, radius, radius);
    painter.save();
    painter.setClipPath(outside, Qt::IntersectClip);
    painter.setRenderHint(QPainter::Antialiasing, false); // no seams
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            const QPointF from(column == 0 ? xs[1] : xs[column], row == 0 ? ys[1] : ys[row]);
            const QPointF away((column - 1) * reach, (row - 1) * reach);
            QLinearGradient edge(from, from + away);
            QRadialGradient corner(from, reach);
            QGradient &fading = row == 1 || column == 1 ? static_cast<QGradient &>(edge) : corner;
            fading.setStops(stops);
            if (row != 1 || column != 1)
                painter.fillRect(QRectF(QPointF(xs[column], ys[row]), QPointF(xs[column + 1], ys[row + 1])), fading);
        }
    }
    painter.restore();
}

void paintBox(QPainter &painter, const PixelGrid &grid, const QRectF &exact, const Drawing::Box &box, double opacity)
{
    QRectF rect = grid.snapped(exact);
    if (box.radius > 0 && box.radius * 2 >= exact.height() && exact.width() == exact.height())
        rect.setSize(exact.size()); // keeps a circle round
    if (box.shadow)
        paintShadow(painter, rect, box.radius, *box.shadow);
    if (box.fill.alpha() > 0) {
        const QPainterPath shape = roundedPath(rect, box.radius);
        painter.fillPath(box.outline.isEmpty() ? shape : box.outline.intersected(shape),
                         overBackground(box.fill, opacity));
    }
    if (box.stroke.alpha() > 0) {
        QPen pen(overBackground(box.stroke, opacity), box.strokeWidth);
        if (box.isDashed) {
            pen.setDashPattern({4 / box.strokeWidth, 3 / box.strokeWidth});
            pen.setCapStyle(Qt::FlatCap);
        }
        const double half = box.strokeWidth / 2;
        painter.strokePath(roundedPath(rect.adjusted(half, half, -half, -half), std::max(0.0, box.radius - half)), pen);
    }
}

void paintRun(QPainter &painter, QPointF at, const TextBlock::Run &run, QColor color)
{
    const double scale = Theme::face(run.style).scale;
    painter.setPen(color);
    const QTransform before = painter.transform();
    // Qt rounds positions down to quarters of a pixel; 0.01 more, so that the scale's rounding error changes none.
    painter.translate(at + QPointF(0.01, 0));
    painter.scale(scale, scale);
    for (const QGlyphRun &glyphs : run.glyphs)
        painter.drawGlyphRun({0, -run.glyphsAscent}, glyphs);
    painter.setTransform(before);
}

} // namespace

double Drawing::addText(QPointF topLeft, TextBlock block)
{
    const QRectF box(topLeft, block.size);
    add(box, std::move(block));
    return box.bottom();
}

double Drawing::addButton(const Button &button, QPointF topLeft, Drawing face)
{
    m_controls.push_back({button, {topLeft, face.size}, std::move(face)});
    return m_controls.back().box.bottom();
}

QRegion Drawing::changesSince(const Drawing &before) const
{
    constexpr int overhang = 4;                                         // of glyphs over the edge of their box
    constexpr QRect anywhere(-(1 << 24), -(1 << 24), 1 << 25, 1 << 25); // larger than any widget
    if (size != before.size || m_items.size() != before.m_items.size())
        return anywhere;
    QRegion changes;
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        if (m_items[i] == before.m_items[i])
            continue;
        const auto *box = std::get_if<Box>(&m_items[i].content);
        if (box && box->shadow)
            return anywhere;
        for (const QRectF &changed : {m_items[i].box, before.m_items[i].box})
            changes += changed.toAlignedRect().adjusted(-overhang, -2, overhang, 2);
    }
    return changes;
}

QString Drawing::spokenText() const
{
    QStringList texts;
    for (const Item &item : m_items) {
        if (const auto *text = std::get_if<TextBlock>(&item.content); text && !text->text.isEmpty())
            texts.append(text->text);
    }
    return texts.join(u' ');
}

void Drawing::paint(QPainter &painter, const QRectF &clip, double opacity) const
{
    painter.setRenderHint(QPainter::Antialiasing);
    const QTransform &transform = painter.deviceTransform();
    const PixelGrid grid{transform.m11(), {transform.dx(), transform.dy()}};
    for (const Item &item : m_items) {
        QRectF reach = item.box.adjusted(-1, -1, 1, 1);
        const auto *box = std::get_if<Box>(&item.content);
        if (box && box->shadow) {
            const double blur = 3 * box->shadow->deviation;
            reach |= item.box.translated(box->shadow->offset).adjusted(-blur, -blur, blur, blur);
        }
        if (!reach.intersects(clip))
            continue;
        if (box) {
            paintBox(painter, grid, item.box, *box, opacity);
        } else if (const auto *text = std::get_if<TextBlock>(&item.content)) {
            for (const TextBlock::Run &run : text->runs) {
                const QPointF at = item.box.topLeft() + run.baseline;
                paintRun(painter, {at.x(), grid.y(at.y())}, run, overBackground(run.style.color, opacity));
            }
        } else if (const auto *icon = std::get_if<Icon>(&item.content)) {
            const QPointF at(grid.x(item.box.left()), grid.y(item.box.top()));
            painter.drawPixmap(
                at, iconPixmap(icon->name, item.box.height(), overBackground(icon->color, opacity), grid.ratio));
        }
    }
}

QPixmap iconPixmap(const QString &name, double size, QColor color, double devicePixelRatio)
{
    const int side = std::max(1, static_cast<int>(std::lround(size * devicePixelRatio)));
    const QString key = u"plumtide/%1/%2/%3/%4"_s.arg(name).arg(side).arg(color.rgba(), 0, 16).arg(devicePixelRatio);
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap))
        return pixmap;
    pixmap = QPixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    QSvgRenderer(u":/icons/%1.svg"_s.arg(name)).render(&painter, QRectF(0, 0, side, side));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    painter.end();
    pixmap.setDevicePixelRatio(devicePixelRatio);
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}
