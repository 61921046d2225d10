#pragma once

#include "Plumtide/views/Actions.h"
#include "Plumtide/views/ShapedText.h"

#include <QAccessible>
#include <QPainterPath>
#include <QPixmap>
#include <QRectF>
#include <QRegion>

#include <optional>
#include <utility>
#include <variant>

class QPainter;

/// A list of boxes, texts and icons to be painted in order, and of the buttons above them, in logical pixels. It is
/// composed for a width; its height follows from that. A screen reader hears its texts. Thread: main thread.
class Drawing
{
public:
    struct Shadow
    {
        QColor color;
        double deviation; ///< Of the blur: its standard deviation.
        QPointF offset;

        bool operator==(const Shadow &) const = default;
    };
    struct Box
    {
        QColor fill = Qt::transparent;
        double radius = 0;
        QColor stroke = Qt::transparent; ///< Lies inside the edge.
        double strokeWidth = 1;
        bool isDashed = false; ///< Dashes of 4, gaps of 3.
        std::optional<Shadow> shadow = {};
        QPainterPath outline = {}; ///< Cuts the fill unless it is empty; in the drawing's coordinates.

        bool operator==(const Box &) const = default;
    };
    struct Icon
    {
        QString name; ///< Of an icon in `:/icons/`, without ".svg".
        QColor color;

        bool operator==(const Icon &) const = default;
    };
    using Content = std::variant<Box, TextBlock, Icon>;
    struct Item
    {
        QRectF box;
        Content content;

        bool operator==(const Item &) const = default;
    };

    struct ButtonLook
    {
        TextStyle style;
        QSizeF padding{0, 0};
        Box face = {};

        bool operator==(const ButtonLook &) const = default;
    };
    /// An icon, a text, or both, on a face that can be pressed.
    struct Button
    {
        Command command; ///< What a press asks for: the one that was there when it began.
        QString text;
        ButtonLook look;
        QString icon = {};
        QString doneText = {}; ///< Said instead of the text for a moment after a press.
        QString hint = {};
        QString description = {};                     ///< For a screen reader.
        QAccessible::Role role = QAccessible::Button; ///< A `CheckBox` has a switch behind its text.
        bool isChecked = false;

        bool operator==(const Button &) const = default;
    };
    struct Control;

    QSizeF size;

    void add(const QRectF &box, Content content) { m_items.push_back({box, std::move(content)}); }
    /// Below all that was added before, as large as the drawing.
    void addFace(Box face) { m_items.insert(m_items.begin(), Item{{{0, 0}, size}, std::move(face)}); }
    void addDot(const QRectF &box, QColor color) { add(box, Box{.fill = color, .radius = box.width() / 2}); }
    double addText(QPointF topLeft, TextBlock block);                      ///< Returns the y of its lower edge.
    double addButton(const Button &button, QPointF topLeft, Drawing face); ///< The same.

    [[nodiscard]] const std::vector<Control> &controls() const { return m_controls; }
    [[nodiscard]] QRegion changesSince(const Drawing &before) const; ///< Where it looks different.
    [[nodiscard]] QString spokenText() const;                        ///< All texts in order, for a screen reader.

    /// Paints what touches `clip`, without the buttons. `opacity` is that of the whole drawing over `Theme::bg`: what
    /// is covered by another item does not show through.
    void paint(QPainter &painter, const QRectF &clip, double opacity = 1) const;

private:
    std::vector<Item> m_items;
    std::vector<Control> m_controls;
};

/// A button with its geometry.
struct Drawing::Control
{
    Button button;
    QRectF box;
    Drawing face; ///< From 0,0.
};

/// The face of a button, `width` wide, or as wide as its content if that is 0.
[[nodiscard]] Drawing composeButton(const Drawing::Button &button, double width = 0);

/// The icon `:/icons/<name>.svg`, `size` logical pixels wide and high, in one colour. Recent ones are cached.
[[nodiscard]] QPixmap iconPixmap(const QString &name, double size, QColor color, double devicePixelRatio);
