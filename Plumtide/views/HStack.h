#pragma once

#include "Plumtide/views/Drawing.h"

#include <QList>

/// Things side by side, centred vertically: dots, texts, icons, source chips, room for widgets, and spacers that take
/// what is left. Where the width does not do, texts that were told so give way.
class HStack
{
public:
    /// Which text is cut first when there is too little room.
    enum class Shrink { Never, First, Second };

    explicit HStack(double gap) : m_gap(gap) {}

    void setGap(double gap) { m_gap = gap; } ///< Before each thing that is added from now on.

    void dot(const char *name, double diameter, QColor color);
    void text(const char *name, const QString &text, const TextStyle &style, Shrink shrink = Shrink::Never,
              int maxLines = 1);
    void icon(const char *name, const QString &icon, double size, QColor color);
    void sourceChip(const char *name, const char *textName, TaskSource source);
    void spacer(double minimum = 0);
    void room(QSizeF size); ///< For a widget; `rooms` says where.

    /// Adds everything to `drawing`, from `topLeft`, within `width`. The box that is taken, as high as the highest
    /// thing and as wide as the last one reaches.
    QRectF place(Drawing &drawing, QPointF topLeft, double width);
    [[nodiscard]] const QList<QRectF> &rooms() const { return m_rooms; } ///< In the order in which they were added.

private:
    struct Thing
    {
        enum class Kind { Dot, Text, Icon, Chip, Spacer, Room };
        Kind kind;
        const char *name = "";
        const char *textName = "";
        double gap = 0; // before it
        QSizeF size;    // for a spacer the least width
        QColor color = {};
        QString text = {}; // or the icon's name
        TextStyle style = {0, QFont::Normal, {}};
        Shrink shrink = Shrink::Never;
        int maxLines = 1;
        TaskSource source = TaskSource::other;
        TextBlock block = {};
    };

    void add(Thing thing);
    void layTexts(double width);

    double m_gap;
    std::vector<Thing> m_things;
    QList<QRectF> m_rooms;
};
