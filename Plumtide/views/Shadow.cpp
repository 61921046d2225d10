#include "Plumtide/views/Shadow.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QPixmapCache>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Coverage = std::vector<float>; // a square of `side` by `side`, 0 to 1

// One pass of a Gaussian blur along the lines, turned by a quarter: two of them blur both ways.
Coverage blurredAndTurned(const Coverage &source, int side, double deviation)
{
    const int reach = std::max(1, static_cast<int>(std::ceil(3 * deviation)));
    std::vector<float> weights;
    float sum = 0;
    for (int i = -reach; i <= reach; ++i) {
        weights.push_back(static_cast<float>(std::exp(-i * i / (2 * deviation * deviation))));
        sum += weights.back();
    }
    Coverage result(source.size());
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            float value = 0;
            const int from = std::max(-reach, -x);
            const int to = std::min(reach, side - 1 - x);
            for (int i = from; i <= to; ++i)
                value += source[static_cast<size_t>(y * side + x + i)] * weights[static_cast<size_t>(i + reach)];
            result[static_cast<size_t>(x * side + y)] = value / sum;
        }
    }
    return result;
}

// A whole small shadow; its middle row and column are those of every larger one. `margin` and `radius` in pixels.
QPixmap makeShadow(double radius, double deviation, int margin, int side, QColor color)
{
    QImage shape(side, side, QImage::Format_Grayscale8);
    shape.fill(Qt::black);
    QPainter painter(&shape);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(shape.rect()).adjusted(margin, margin, -margin, -margin), radius, radius);
    painter.end();

    Coverage coverage;
    for (int y = 0; y < side; ++y)
        std::transform(shape.constScanLine(y), shape.constScanLine(y) + side, std::back_inserter(coverage),
                       [](uchar value) { return static_cast<float>(value) / 255; });
    coverage = blurredAndTurned(blurredAndTurned(coverage, side, deviation), side, deviation);

    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < side; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < side; ++x) {
            const float alpha = coverage[static_cast<size_t>(y * side + x)] * color.alphaF();
            line[x] = qPremultiply(
                qRgba(color.red(), color.green(), color.blue(), static_cast<int>(std::lround(alpha * 255))));
        }
    }
    return QPixmap::fromImage(image);
}

} // namespace

void paintShadow(QPainter &painter, const QRectF &box, double radius, const Drawing::Shadow &shadow)
{
    const double ratio = painter.deviceTransform().m11();
    const int margin = static_cast<int>(std::ceil(3 * shadow.deviation * ratio));
    const int corner = 2 * margin + static_cast<int>(std::ceil(radius * ratio)); // where the edge is straight again
    const int side = 2 * corner + 1;
    const QString key =
        u"plumtide/shadow/%1/%2/%3/%4"_s.arg(radius).arg(shadow.deviation).arg(ratio).arg(shadow.color.rgba(), 0, 16);
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = makeShadow(radius * ratio, shadow.deviation * ratio, margin, side, shadow.color);
        QPixmapCache::insert(key, pixmap);
    }

    // Nine pieces: the corners as they are, the middle row and column stretched.
    const double reach = margin / ratio;
    const QRectF target = box.translated(shadow.offset).adjusted(-reach, -reach, reach, reach);
    const double widest = std::min({corner / ratio, target.width() / 2, target.height() / 2});
    const double xs[] = {target.left(), target.left() + widest, target.right() - widest, target.right()};
    const double ys[] = {target.top(), target.top() + widest, target.bottom() - widest, target.bottom()};
    const double kept = widest * ratio;
    const double from[] = {0, kept, side - kept, static_cast<double>(side)};
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            const QRectF piece(QPointF(xs[column], ys[row]), QPointF(xs[column + 1], ys[row + 1]));
            if (piece.isEmpty())
                continue;
            QRectF source(QPointF(from[column], from[row]), QPointF(from[column + 1], from[row + 1]));
            if (column == 1)
                source = QRectF(corner, source.top(), 1, source.height());
            if (row == 1)
                source = QRectF(source.left(), corner, source.width(), 1);
            painter.drawPixmap(piece, pixmap, source);
        }
    }
}
