#include "Plumtide/views/Drawing.h"

#include "Plumtide/views/Icons.h"
#include "Plumtide/views/Shadow.h"

#include <QPainter>
#include <QRegularExpression>
#include <QStringList>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// A translucent drawing over the window's background looks like an opaque one in colours that are nearer to it.
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

// To whole device pixels, so that edges are sharp at every scale.
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

void paintBox(QPainter &painter, const PixelGrid &grid, const QRectF &exact, const Drawing::Box &box, double opacity)
{
    const bool isDot = box.radius > 0 && box.radius * 2 >= exact.height() && exact.width() == exact.height();
    const QRectF rect = isDot ? exact : grid.snapped(exact); // a circle must stay one
    if (box.shadow)
        paintShadow(painter, rect, box.radius, *box.shadow);
    if (box.fill.alpha() > 0) {
        const QColor fill = overBackground(box.fill, opacity);
        if (!box.outline.isEmpty())
            painter.fillPath(box.outline.intersected(roundedPath(rect, 0)), fill);
        else if (box.radius > 0)
            painter.fillPath(roundedPath(rect, box.radius), fill);
        else
            painter.fillRect(rect, fill);
    }
    if (box.strokeWidth > 0) {
        QPen pen(overBackground(box.stroke, opacity), box.strokeWidth);
        if (box.line == Drawing::Line::Dashed) {
            pen.setDashPattern({4 / box.strokeWidth, 3 / box.strokeWidth});
            pen.setCapStyle(Qt::FlatCap);
        }
        const double half = box.strokeWidth / 2;
        painter.strokePath(roundedPath(rect.adjusted(half, half, -half, -half), std::max(0.0, box.radius - half)), pen);
    }
}

void paintRun(QPainter &painter, QPointF at, const Drawing::Run &run, QColor color)
{
    const Theme::Face &face = Theme::face(run.style);
    painter.setFont(face.font);
    painter.setPen(color);
    const QTransform before = painter.transform();
    painter.translate(at);
    painter.scale(face.scale, face.scale);
    painter.drawText(QPointF(), run.text);
    painter.setTransform(before);
}

// The pieces of a line that begins at `start` of its text, each in its style.
void addRuns(std::vector<Drawing::Run> &runs, const QString &line, qsizetype start, double left, double baseline,
             qsizetype labelEnd, const TextStyle &labelStyle, const TextStyle &style)
{
    const qsizetype inLabel = std::clamp<qsizetype>(labelEnd - start, 0, line.size());
    double x = left;
    if (inLabel > 0) {
        const QString label = line.first(inLabel);
        runs.push_back({label, {x, baseline}, labelStyle});
        x += Theme::face(labelStyle).advance(label);
    }
    if (inLabel < line.size())
        runs.push_back({line.sliced(inLabel), {x, baseline}, style});
}

QString withoutTrailingSpace(QString text)
{
    while (!text.isEmpty() && text.back().isSpace())
        text.chop(1);
    return text;
}

TextBlock layRuns(const QString &whole, qsizetype labelEnd, const TextStyle &labelStyle, const TextStyle &style,
                  double width, int maxLines, Qt::Alignment alignment)
{
    const Theme::Face &face = Theme::face(style);
    TextBlock block{{0, face.lineHeight}, {whole, style, maxLines, false, {}}};
    QString text = whole;
    text.replace(lineBreaks(), maxLines > 0 ? u" "_s : QString(QChar::LineSeparator)); // lines are not to be wasted

    if (labelEnd == 0 && !text.contains(QChar::LineSeparator)) {
        const double advance = face.advance(text);
        if (advance <= width || maxLines == 1) {
            block.content.isElided = advance > width;
            block.size.setWidth(std::min(advance, width));
            const QString shown = block.content.isElided ? face.elided(text, width) : text;
            block.content.runs.push_back({shown, {0, face.ascent}, style});
            return block;
        }
    }

    QTextLayout layout(text, face.font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    if (labelEnd > 0) {
        QTextCharFormat format;
        format.setFont(Theme::face(labelStyle).font);
        layout.setFormats({{0, static_cast<int>(labelEnd), format}});
    }
    struct Piece
    {
        QString text;
        qsizetype start;
        double width;
    };
    std::vector<Piece> lines;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width / face.scale);
        const int start = line.textStart();
        const bool isLast = maxLines > 0 && static_cast<int>(lines.size()) == maxLines - 1;
        if (isLast && start + line.textLength() < text.size()) {
            const QString rest = text.sliced(start).replace(QChar::LineSeparator, u' ');
            lines.push_back({face.elided(rest, width), start, width});
            block.content.isElided = true;
            break;
        }
        lines.push_back(
            {withoutTrailingSpace(text.sliced(start, line.textLength())), start, line.naturalTextWidth() * face.scale});
        if (isLast)
            break;
    }
    layout.endLayout();

    double widest = 0;
    for (const Piece &line : lines)
        widest = std::max(widest, line.width);
    const bool isBroken = lines.size() > 1;
    block.size = {isBroken ? width : std::min(widest, width),
                  face.lineHeight * static_cast<double>(std::max<std::size_t>(1, lines.size()))};
    double baseline = face.ascent;
    for (const Piece &line : lines) {
        const double left = alignment == Qt::AlignHCenter ? (block.size.width() - line.width) / 2 : 0;
        addRuns(block.content.runs, line.text, line.start, left, baseline, labelEnd, labelStyle, style);
        baseline += face.lineHeight;
    }
    return block;
}

} // namespace

const QRegularExpression &lineBreaks()
{
    static const QRegularExpression breaks(u"\\R"_s);
    return breaks;
}

TextBlock layText(const QString &text, const TextStyle &style, double width, int maxLines, Qt::Alignment alignment)
{
    return layRuns(text, 0, style, style, width, maxLines, alignment);
}

TextBlock layLabelledText(const QString &label, const TextStyle &labelStyle, const QString &text,
                          const TextStyle &style, double width)
{
    return layRuns(label + text, label.size(), labelStyle, style, width, 0, Qt::AlignLeft);
}

void Drawing::add(const char *name, const QRectF &box, std::variant<Box, Text, Icon> content)
{
    m_items.push_back({name, box, std::move(content)});
}

QString Drawing::spokenText() const
{
    QStringList texts;
    for (const Item &item : m_items) {
        if (const auto *text = std::get_if<Text>(&item.content); text && !text->text.isEmpty())
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
        QRectF reach = item.box;
        const auto *box = std::get_if<Box>(&item.content);
        if (box && box->shadow) {
            const double blur = 3 * box->shadow->deviation;
            reach |= item.box.translated(box->shadow->offset).adjusted(-blur, -blur, blur, blur);
        }
        if (!reach.adjusted(-1, -1, 1, 1).intersects(clip))
            continue;
        if (box) {
            paintBox(painter, grid, item.box, *box, opacity);
        } else if (const auto *text = std::get_if<Text>(&item.content)) {
            for (const Run &run : text->runs) {
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
