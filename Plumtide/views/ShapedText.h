#pragma once

#include "Plumtide/views/Theme.h"

#include <QGlyphRun>
#include <QPointF>
#include <QSizeF>
#include <QTextLayout>

#include <memory>
#include <vector>

class QRegularExpression;

/// A text that has been broken into lines.
struct TextBlock
{
    struct Run
    {
        QList<QGlyphRun> glyphs; ///< At the face's base size.
        QPointF baseline;        ///< Where the first glyph begins, from the text's top left corner.
        TextStyle style;

        // The glyphs are those of the text.
        bool operator==(const Run &other) const { return baseline == other.baseline && style == other.style; }
    };

    QSizeF size;           ///< As wide as the widest line, or as the room where the text was broken or cut.
    QString text;          ///< The whole of it, as a reader would hear it.
    std::vector<Run> runs; ///< What is painted.

    bool operator==(const TextBlock &) const = default;
};

/// A text whose glyphs have been chosen and placed: what is measured, broken, cut and painted is this.
/// With a label, both stand in one text, each in its style.
/// Thread: main thread.
class ShapedText
{
public:
    ShapedText() = default;
    ShapedText(const QString &text, const TextStyle &style) : ShapedText({}, style, text, style) {}
    ShapedText(const QString &label, const TextStyle &labelStyle, const QString &text, const TextStyle &style);

    [[nodiscard]] double width() const { return m_width; } ///< In one line, its line breaks taken for spaces.
    [[nodiscard]] double lineHeight() const { return Theme::face(m_style).lineHeight; }

    /// Breaks it to `width`, into at most `maxLines` lines (0: any number); the last one ends in "…" where the text
    /// goes on. Lines that are shorter than the block stand at `alignment` (left or centre).
    [[nodiscard]] TextBlock block(double width, int maxLines = 1, Qt::Alignment alignment = Qt::AlignLeft) const;

private:
    void addRuns(TextBlock &block, const QTextLine &line, QPointF topLeft, qsizetype from, qsizetype length) const;
    double addCutLine(TextBlock &block, QPointF topLeft, qsizetype from, double width) const;
    [[nodiscard]] std::shared_ptr<QTextLayout> layout(const QString &text) const;

    QString m_text;
    qsizetype m_labelLength = 0;
    TextStyle m_labelStyle{0, QFont::Normal, {}};
    TextStyle m_style{0, QFont::Normal, {}};
    std::shared_ptr<QTextLayout> m_line; // all of it in one line
    double m_width = 0;
};

[[nodiscard]] inline TextBlock layText(const QString &text, const TextStyle &style, double width, int maxLines = 1,
                                       Qt::Alignment alignment = Qt::AlignLeft)
{
    return ShapedText(text, style).block(width, maxLines, alignment);
}

/// What ends a line in a text from elsewhere, U+2028 included.
[[nodiscard]] const QRegularExpression &lineBreaks();
