#include "Plumtide/views/AllClearView.h"

#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr double allClearPaddingY = 18;
constexpr double allClearGap = 4;
constexpr double allClearRadius = 12;
constexpr double allClearFillOpacity = 0.6;
constexpr TextStyle headlineStyle{15, QFont::DemiBold, Theme::text, TextStyle::Design::Serif};
constexpr TextStyle hintStyle{12, QFont::Normal, Theme::secondary};

struct Texts
{
    QString headline;
    QString hint;
};

Texts textsFor(std::optional<TaskSource> source)
{
    switch (source.value_or(TaskSource::other)) {
    case TaskSource::claude:
        return {u"Claude Code 已接入，还没收到第一条消息"_s,
                u"开个新的 Claude Code 会话（不是网页版聊天），说句话就会出现在这里。"_s};
    case TaskSource::codex: return {u"Codex 已接入，还没收到消息"_s, u"重启 Codex 后，发一轮消息就会出现在这里。"_s};
    case TaskSource::other: return {u"现在没有需要你处理的事"_s, u"有新进展我会告诉你 ☕"_s};
    }
    Q_UNREACHABLE();
}

} // namespace

AllClearView::AllClearView(QWidget *parent) : DrawnView(parent)
{
    setObjectName(u"allclear"_s);
}

void AllClearView::setHintSource(std::optional<TaskSource> source)
{
    if (m_hintSource == source)
        return;
    m_hintSource = source;
    m_width = 0;
    redraw();
}

double AllClearView::drawContent(Drawing &drawing, double width) const
{
    const Texts texts = textsFor(m_hintSource);
    double y = allClearPaddingY;
    const auto addCentred = [&](const char *name, const QString &text, const TextStyle &style) {
        TextBlock block = layText(text, style, width, 0, Qt::AlignHCenter);
        drawing.add(name, {{(width - block.size.width()) / 2, y}, block.size}, std::move(block.content));
        y += block.size.height();
    };
    addCentred("headline", texts.headline, headlineStyle);
    y += allClearGap;
    addCentred("hint", texts.hint, hintStyle);
    return y + allClearPaddingY;
}

int AllClearView::layOut(int width)
{
    if (std::exchange(m_width, width) == width)
        return m_height;
    Drawing drawing;
    m_height = static_cast<int>(std::lround(drawContent(drawing, width)));
    return m_height;
}

void AllClearView::compose(Drawing &drawing)
{
    const QRectF face(rect());
    drawing.add("card", face,
                Drawing::Box{.fill = Theme::faded(Theme::card, allClearFillOpacity), .radius = allClearRadius});
    drawContent(drawing, face.width());
    drawing.addBorder("border", face, allClearRadius, Theme::border, 1, Drawing::Line::Dashed);
}
