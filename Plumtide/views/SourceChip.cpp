#include "Plumtide/views/SourceChip.h"

using namespace Qt::StringLiterals;

namespace {

constexpr double paddingX = 4;
constexpr double paddingY = 1;
constexpr double radius = 4;
constexpr double fillOpacity = 0.12;

TextStyle style(TaskSource source)
{
    return {9, QFont::DemiBold, Theme::sourceColor(source)};
}

} // namespace

QString SourceChip::label(TaskSource source)
{
    switch (source) {
    case TaskSource::claude: return u"Claude"_s;
    case TaskSource::codex: return u"Codex"_s;
    case TaskSource::other: return u"其他"_s;
    }
    Q_UNREACHABLE();
}

QSizeF SourceChip::size() const
{
    const Theme::Face &face = Theme::face(style(source));
    return {face.advance(label(source)) + 2 * paddingX, face.lineHeight + 2 * paddingY};
}

void SourceChip::draw(Drawing &drawing, const char *name, const char *textName, QPointF topLeft) const
{
    const QRectF box(topLeft, size());
    drawing.add(name, box,
                Drawing::Box{.fill = Theme::faded(Theme::sourceColor(source), fillOpacity), .radius = radius});
    TextBlock text = layText(label(source), style(source), box.width());
    drawing.add(textName, {topLeft + QPointF(paddingX, paddingY), text.size}, std::move(text.content));
}
