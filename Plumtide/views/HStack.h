#pragma once

#include "Plumtide/views/Drawing.h"

/// Things side by side, centred vertically: dots, texts, icons, source chips, buttons, and spacers that take what is
/// left. Where the width does not do, texts that were told so give way.
class HStack
{
public:
    /// Which text is cut first when there is too little room.
    enum class Shrink { Never, First, Second };

    explicit HStack(double gap) : m_gap(gap) {}

    void setGap(double gap) { m_gap = gap; } ///< Before each thing that is added from now on.

    void dot(double diameter, QColor color);
    void text(const QString &text, const TextStyle &style, Shrink shrink = Shrink::Never, int maxLines = 1);
    void icon(const QString &icon, double size, QColor color);
    void sourceChip(TaskSource source); ///< Says which agent a line comes from.
    void button(const Drawing::Button &button);
    void spacer(double minimum = 0);

    [[nodiscard]] QSizeF size() const; ///< That it likes to have.

    /// Adds everything to `drawing`, from `topLeft`, within `width`. The box that is taken, as high as the highest
    /// thing and as wide as the last one reaches.
    QRectF place(Drawing &drawing, QPointF topLeft, double width);

private:
    struct Spacer
    {
    };
    struct Text
    {
        ShapedText shaped;
        Shrink shrink = Shrink::Never;
        int maxLines = 1;
        TextBlock block = {};
    };
    struct Button
    {
        Drawing::Button button;
        Drawing face;
    };
    using Content = std::variant<Spacer, Drawing::Box, Drawing::Icon, Text, Button>;
    struct Thing
    {
        Content content;
        QSizeF size;                     // for a spacer the least width
        std::optional<QColor> chip = {}; // the text stands on it
        double gap = 0;                  // before it
    };

    template <typename T>
    void add(T content, QSizeF size);
    void layTexts(double width);

    double m_gap;
    std::vector<Thing> m_things;
};

/// "Claude", "Codex", "其他".
[[nodiscard]] QString label(TaskSource source);
