#pragma once

#include "Plumtide/views/Theme.h"

#include <QColor>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <optional>
#include <variant>
#include <vector>

class QPainter;
class QRegularExpression;

/// A picture made of named boxes, texts and icons, in logical pixels. Views compose one and paint it; tests and
/// screen readers read it. What is painted is exactly what it lists.
/// Thread: main thread.
class Drawing
{
public:
    struct Shadow
    {
        QColor color;
        double deviation; ///< Of the blur: its standard deviation.
        QPointF offset;
    };
    enum class Line { Solid, Dashed }; ///< Dashes of 4, gaps of 3.

    struct Box
    {
        QColor fill = Qt::transparent;
        double radius = 0;
        QColor stroke = Qt::transparent; ///< Lies inside the edge.
        double strokeWidth = 0;
        Line line = Line::Solid;
        std::optional<Shadow> shadow = {};
        QPainterPath outline = {}; ///< Cuts the fill unless it is empty; in the drawing's coordinates.
    };
    struct Run
    {
        QString text;
        QPointF baseline; ///< From the text's top left corner.
        TextStyle style;
    };
    struct Text
    {
        QString text; ///< The whole of it, as a reader would hear it.
        TextStyle style;
        int maxLines = 1; ///< 0: as many as it needs.
        bool isElided = false;
        std::vector<Run> runs; ///< What is painted.
    };
    struct Icon
    {
        QString name; ///< Of an icon in `:/icons/`, without ".svg".
        QColor color;
    };
    struct Item
    {
        const char *name; ///< Unique in the drawing; "" for the thing itself.
        QRectF box;
        std::variant<Box, Text, Icon> content;
    };

    void add(const char *name, const QRectF &box, std::variant<Box, Text, Icon> content);
    /// A filled circle.
    void addDot(const char *name, const QRectF &box, QColor color)
    {
        add(name, box, Box{.fill = color, .radius = box.width() / 2});
    }
    /// The border of a box that has been added before; over what lies in between.
    void addBorder(const char *name, const QRectF &box, double radius, QColor color, double width,
                   Line line = Line::Solid)
    {
        add(name, box, Box{.radius = radius, .stroke = color, .strokeWidth = width, .line = line});
    }

    [[nodiscard]] const std::vector<Item> &items() const { return m_items; }
    [[nodiscard]] QString spokenText() const; ///< All texts in order, for a screen reader.

    /// Paints what touches `clip`. `opacity` is that of the drawing as a whole over `Theme::bg`: overlapping items
    /// do not shine through each other.
    void paint(QPainter &painter, const QRectF &clip, double opacity = 1) const;

private:
    std::vector<Item> m_items;
};

/// What ends a line in a text from elsewhere, U+2028 included.
[[nodiscard]] const QRegularExpression &lineBreaks();

/// A text that has been broken into lines.
struct TextBlock
{
    QSizeF size; ///< As wide as the widest line, or as `width` where the text was broken or cut.
    Drawing::Text content;
};

/// Breaks `text` to `width`, into at most `maxLines` lines (0: any number); the last one ends in "…" where the text
/// goes on. Lines that are shorter than the block stand at `alignment` (left or centre).
[[nodiscard]] TextBlock layText(const QString &text, const TextStyle &style, double width, int maxLines = 1,
                                Qt::Alignment alignment = Qt::AlignLeft);
/// The same with a `label` in a style of its own before it, with as many lines as it needs.
[[nodiscard]] TextBlock layLabelledText(const QString &label, const TextStyle &labelStyle, const QString &text,
                                        const TextStyle &style, double width);
