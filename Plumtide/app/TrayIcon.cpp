#include "Plumtide/app/TrayIcon.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// The item does not know its panel's colour: the people are dark, for light panels, with a light outline, for dark
// ones; on grey and coloured ones (Cinnamon, Budgie, waybar) the two stand out from each other.
constexpr QColor glyphColor(0x4a, 0x4a, 0x4a);
constexpr QColor outlineColor(0xe6, 0xe6, 0xe6);
constexpr QColor badgeColor(0xC9, 0x64, 0x42);

QImage glyph(int size, const QRectF &place)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QImage people = image;
    QPainter painter(&people);
    QSvgRenderer(u":/icons/people.svg"_s).render(&painter, place);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(people.rect(), outlineColor);
    QPainter whole(&image);
    for (const QPoint beside : {QPoint(-1, 0), QPoint(1, 0), QPoint(0, -1), QPoint(0, 1)})
        whole.drawImage(beside * std::max(1, size / 24), people);
    painter.fillRect(people.rect(), glyphColor);
    whole.drawImage(0, 0, people);
    return image;
}

void drawBadge(QImage &image, const QString &text)
{
    const int size = image.width();
    QFont font(u"sans-serif"_s);
    font.setStyleHint(QFont::SansSerif);
    font.setBold(true);
    const double scale = size / 22.0;
    // The digits are what matters: three of them take the whole width.
    font.setPixelSize(static_cast<int>(std::lround((text.size() < 3 ? 11.5 : 9.0) * scale)));
    const QFontMetricsF metrics(font);
    const QRectF ink = metrics.tightBoundingRect(text);
    const double padding = std::max(1.0, std::round((text.size() < 3 ? 2.5 : 1.0) * scale));
    const double height = std::min<double>(size, std::ceil(ink.height() + 2 * std::max(1.0, std::round(2 * scale))));
    const double width = std::min<double>(size, std::max(height, std::ceil(ink.width() + 2 * padding)));
    const QRectF badge(size - width, size - height, width, height);
    const double radius = text.size() < 3 ? height / 2 : height / 3;

    // A gap all around parts it from the people.
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.setBrush(Qt::black);
    const double gap = std::max(1.0, std::round(scale));
    painter.drawRoundedRect(badge.adjusted(-gap, -gap, gap, gap), radius + gap, radius + gap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setBrush(badgeColor);
    painter.drawRoundedRect(badge, radius, radius);

    painter.setFont(font);
    painter.setPen(Qt::white);
    const QPointF inkStart = badge.center() - ink.center();
    painter.drawText(QPointF(std::round(inkStart.x()), std::round(inkStart.y())), text);
}

// Up to the right, so that it keeps clear of the badge.
void drawBar(QImage &image)
{
    const double scale = image.width() / 24.0;
    const QLineF bar(2 * scale, 15 * scale, 21 * scale, 2 * scale);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(outlineColor, std::max(4.0, 5 * scale), Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(bar);
    painter.setPen(QPen(glyphColor, std::max(2.0, 2.5 * scale), Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(bar);
}

} // namespace

QIcon trayIcon(int count, bool isMuted)
{
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        QImage image = glyph(size, QRectF(0, (count > 0 ? -3 : -1) * size / 24.0, size, size));
        if (isMuted)
            drawBar(image);
        if (count > 0)
            drawBadge(image, count > 99 ? u"99+"_s : QString::number(count));
        icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}
