#include "Plumtide/views/Icons.h"

#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

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
