#include "Plumtide/views/ShapedText.h"

#include "Plumtide/system/Characters.h"

#include <QFontMetricsF>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr double unlimited = 1e6;

bool hasRightToLeft(const QString &text)
{
    return std::ranges::any_of(text,
                               [](QChar c) { return c.direction() == QChar::DirR || c.direction() == QChar::DirAL; });
}

} // namespace

ShapedText::ShapedText(const QString &label, const TextStyle &labelStyle, const QString &text, const TextStyle &style)
    : m_text(label + shortened(text)), m_labelLength(label.size()), m_labelStyle(labelStyle), m_style(style)
{
    QString line = m_text;
    line.replace(lineBreaks(), u" "_s);
    m_line = layout(line);
    m_line->beginLayout();
    QTextLine whole = m_line->createLine();
    if (whole.isValid()) {
        whole.setLineWidth(unlimited);
        m_width = (hasRightToLeft(line) ? whole.naturalTextWidth() : whole.cursorToX(static_cast<int>(line.size())))
            * Theme::face(m_style).scale;
    }
    m_line->endLayout();
}

std::shared_ptr<QTextLayout> ShapedText::layout(const QString &text) const
{
    const Theme::Face &face = Theme::face(m_style);
    QFont font = face.fontFor(text.sliced(m_labelLength));
    if (m_style.letterSpacing != 0)
        font.setLetterSpacing(QFont::AbsoluteSpacing, m_style.letterSpacing / face.scale);
    auto layout = std::make_shared<QTextLayout>(text, font);
    QTextOption option;
    option.setTextDirection(Qt::LeftToRight); // positions count from the left, also in right-to-left texts
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout->setTextOption(option);
    if (m_labelLength > 0) {
        QTextCharFormat format;
        format.setFont(Theme::face(m_labelStyle).fontFor(text.first(m_labelLength)));
        layout->setFormats({{0, static_cast<int>(m_labelLength), format}});
    }
    return layout;
}

void ShapedText::addRuns(TextBlock &block, const QTextLine &line, QPointF topLeft, qsizetype from,
                         qsizetype length) const
{
    const auto add = [&](qsizetype first, qsizetype end, const TextStyle &style) {
        if (first < end)
            block.runs.push_back({line.glyphRuns(static_cast<int>(first), static_cast<int>(end - first)),
                                  line.y() + line.ascent(), topLeft + QPointF(0, Theme::face(m_style).ascent), style});
    };
    const qsizetype labelEnd = std::clamp(m_labelLength, from, from + length);
    add(from, labelEnd, m_labelStyle);
    add(labelEnd, from + length, m_style);
}

// Adds the text from `from` on, cut to `width`. Returns the width that it takes.
double ShapedText::addCutLine(TextBlock &block, QPointF topLeft, qsizetype from, double width) const
{
    const double scale = Theme::face(m_style).scale;
    const QTextLine line = m_line->lineAt(0);
    if (hasRightToLeft(m_text)) { // letters are not in the order of the text
        const QString cut =
            QFontMetricsF(m_line->font()).elidedText(m_line->text().sliced(from), Qt::ElideRight, width / scale);
        const ShapedText shown(cut, m_style);
        shown.addRuns(block, shown.m_line->lineAt(0), topLeft, 0, cut.size());
        return shown.m_width;
    }
    const ShapedText dots(u"…"_s, m_style);
    const double start = line.cursorToX(static_cast<int>(from));
    const int end = std::max(static_cast<int>(from),
                             line.xToCursor(start + (width - dots.m_width) / scale, QTextLine::CursorOnCharacter));
    const double reach = (line.cursorToX(end) - start) * scale;
    addRuns(block, line, topLeft - QPointF(start * scale, 0), from, end - from);
    if (width < dots.m_width)
        return 0; // too narrow even for these
    dots.addRuns(block, dots.m_line->lineAt(0), topLeft + QPointF(reach, 0), 0, 1);
    return reach + dots.m_width;
}

TextBlock ShapedText::block(double width, int maxLines, Qt::Alignment alignment) const
{
    const double scale = Theme::face(m_style).scale;
    const double lineHeight = size().height();
    TextBlock block{{std::min(m_width, width), lineHeight}, m_text, {}};
    const bool keepsBreaks = maxLines == 0 && m_text.contains(lineBreaks());
    if (!keepsBreaks && m_width <= width) {
        if (m_line->lineCount() > 0)
            addRuns(block, m_line->lineAt(0), {}, 0, m_text.size());
        return block;
    }
    if (maxLines == 1) {
        addCutLine(block, {}, 0, width);
        return block;
    }

    QString text = m_line->text();
    if (keepsBreaks)
        text = QString(m_text).replace(lineBreaks(), QString(QChar::LineSeparator));
    const std::shared_ptr<QTextLayout> layout = this->layout(text);
    layout->beginLayout();
    double y = 0;
    double widest = 0;
    int count = 0;
    for (QTextLine line = layout->createLine(); line.isValid(); line = layout->createLine()) {
        line.setLineWidth(width / scale);
        if (++count == maxLines && line.textStart() + line.textLength() < text.size()) {
            widest = std::max(widest, addCutLine(block, {0, y}, line.textStart(), width));
            y += lineHeight;
            break;
        }
        const double natural = line.naturalTextWidth() * scale;
        widest = std::max(widest, natural);
        const double left = alignment == Qt::AlignHCenter ? (width - natural) / 2 : 0;
        addRuns(block, line, {left, y}, line.textStart(), line.textLength());
        y += lineHeight;
    }
    layout->endLayout();
    block.size = {count > 1 ? width : std::min(widest, width), std::max(y, lineHeight)};
    return block;
}
