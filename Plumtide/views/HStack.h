#pragma once

#include "Plumtide/views/Drawing.h"

#include <functional>
#include <vector>

/// Items side by side, centred vertically: dots, texts, icons, source chips, buttons, and spacers that take the width
/// that is left. If the width is too small, the texts with a `Shrink` are cut.
class HStack
{
public:
    /// Which text is cut first when there is too little room.
    enum class Shrink { Never, First, Second };

    explicit HStack(double gap) : m_gap(gap) {}

    void setGap(double gap) { m_gap = gap; } ///< Before each item that is added from now on.

    void dot(double diameter, QColor color);
    void text(const QString &text, const TextStyle &style, Shrink shrink = Shrink::Never, int maxLines = 1);
    void icon(const QString &icon, double size, QColor color);
    void sourceChip(TaskSource source); ///< Says which agent a line comes from.
    void button(const Drawing::Button &button);
    void spacer(double minimum = 0) { add({minimum, 0}); }

    [[nodiscard]] QSizeF size() const; ///< With nothing cut, and the smallest spacers.

    /// Adds everything to `drawing`, from `topLeft`, within `width`. Returns its box, which ends with the last item.
    QRectF place(Drawing &drawing, QPointF topLeft, double width);

private:
    struct Item // without functions it is a spacer
    {
        double gap = 0; // before it
        QSizeF size;    // of a spacer, the smallest
        Shrink shrink = Shrink::Never;
        std::function<TextBlock(double width)> layOut = {};                 // of a text
        std::function<void(Drawing &drawing, const QRectF &box)> draw = {}; // of a text, once it is laid out
    };

    Item &add(QSizeF size);
    void layOut(double width);

    double m_gap;
    std::vector<Item> m_items;
};

/// "Claude", "Codex", "其他".
[[nodiscard]] QString label(TaskSource source);
