#pragma once

#include "Plumtide/views/Theme.h"

#include <QGlyphRun>
#include <QPointF>
#include <QSizeF>
#include <QTextLayout>

#include <memory>
#include <vector>

/// A text that has been broken into lines.
struct TextBlock
{
    struct Run
    {
        QList<QGlyphRun> glyphs; ///< At the face's base size.
        double glyphsAscent;     ///< From where their positions count to their baseline, at that size.
        QPointF baseline;        ///< Where the first glyph begins, from the text's top left corner.
        TextStyle style;

        // The glyphs are those of the text.
        bool operator==(const Run &other) const { return baseline == other.baseline && style == other.style; }
    };

    QSizeF size;           ///< As wide as the widest line, or as the given width if the text was broken or cut.
    QString text;          ///< All of it, for a screen reader.
    std::vector<Run> runs; ///< What is painted.

    bool operator==(const TextBlock &) const = default;
};

/// A text with its glyphs, to be measured, broken into lines and cut. It may begin with a label in a style of its own.
class ShapedText
{
public:
    ShapedText(const QString &text, const TextStyle &style) : ShapedText({}, style, text, style) {}
    ShapedText(const QString &label, const TextStyle &labelStyle, const QString &text, const TextStyle &style);

    /// In one line, its line breaks taken for spaces.
    [[nodiscard]] QSizeF size() const { return {m_width, Theme::face(m_style).lineHeight}; }

    /// Breaks it into at most `maxLines` lines (0: any number); "…" stands for the rest. `alignment` is left or centre.
    [[nodiscard]] TextBlock block(double width, int maxLines = 1, Qt::Alignment alignment = Qt::AlignLeft) const;

private:
    void addRuns(TextBlock &block, const QTextLine &line, QPointF topLeft, qsizetype from, qsizetype length) const;
    double addCutLine(TextBlock &block, QPointF topLeft, qsizetype from, double width) const;
    [[nodiscard]] std::shared_ptr<QTextLayout> layout(const QString &text) const;

    QString m_text;
    qsizetype m_labelLength = 0;
    TextStyle m_labelStyle;
    TextStyle m_style;
    std::shared_ptr<QTextLayout> m_line; // with all of it in one line
    double m_width = 0;
};

[[nodiscard]] inline TextBlock layText(const QString &text, const TextStyle &style, double width, int maxLines = 1,
                                       Qt::Alignment alignment = Qt::AlignLeft)
{
    return ShapedText(text, style).block(width, maxLines, alignment);
}
