#include "Plumtide/views/SourceChip.h"

using namespace Qt::StringLiterals;

namespace {

constexpr double sourceChipPaddingX = 4;
constexpr double sourceChipPaddingY = 1;
constexpr double sourceChipRadius = 4;
constexpr double sourceChipFillOpacity = 0.12;

TextStyle sourceChipStyle(TaskSource source)
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
    const Theme::Face &face = Theme::face(sourceChipStyle(source));
    return {face.advance(label(source)) + 2 * sourceChipPaddingX, face.lineHeight + 2 * sourceChipPaddingY};
}

void SourceChip::draw(Drawing &drawing, const char *name, const char *textName, QPointF topLeft) const
{
    const QRectF box(topLeft, size());
    drawing.add(name, box,
                Drawing::Box{.fill = Theme::faded(Theme::sourceColor(source), sourceChipFillOpacity),
                             .radius = sourceChipRadius});
    TextBlock text = layText(label(source), sourceChipStyle(source), box.width());
    drawing.add(textName, {topLeft + QPointF(sourceChipPaddingX, sourceChipPaddingY), text.size},
                std::move(text.content));
}
