#include "Plumtide/views/HStack.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QSizeF chipPadding(4, 1);
constexpr double sourceChipRadius = 4;
constexpr double sourceChipFillOpacity = 0.12;

constexpr double buttonIconGap = 4;
constexpr double switchGap = 6;
constexpr QSizeF trackSize(26, 15);
constexpr double knobMargin = 1;

void addSwitch(Drawing &drawing, const QRectF &track, bool isOn)
{
    drawing.add(track, Drawing::Box{.fill = isOn ? Theme::accent : Theme::switchOff, .radius = track.height() / 2});
    const double diameter = track.height() - 2 * knobMargin;
    const double left = isOn ? track.right() - knobMargin - diameter : track.left() + knobMargin;
    drawing.addDot({left, track.top() + knobMargin, diameter, diameter}, Theme::card);
}

} // namespace

QString label(TaskSource source)
{
    switch (source) {
    case TaskSource::claude: return u"Claude"_s;
    case TaskSource::codex: return u"Codex"_s;
    case TaskSource::other: return u"其他"_s;
    }
    Q_UNREACHABLE();
}

// Made in its place: of a variant that is moved, gcc 14 warns that it may not be initialized.
template <typename T>
void HStack::add(T content, QSizeF size)
{
    const double gap = m_things.empty() ? 0 : m_gap;
    Thing &thing = m_things.emplace_back();
    thing.content.emplace<T>(std::move(content));
    thing.size = size;
    thing.gap = gap;
}

void HStack::dot(double diameter, QColor color)
{
    add(Drawing::Box{.fill = color, .radius = diameter / 2}, {diameter, diameter});
}

void HStack::text(const QString &text, const TextStyle &style, Shrink shrink, int maxLines)
{
    ShapedText shaped(text, style);
    const QSizeF size(shaped.width(), shaped.lineHeight());
    add(Text{std::move(shaped), shrink, maxLines}, size);
}

void HStack::icon(const QString &icon, double size, QColor color)
{
    add(Drawing::Icon{icon, color}, {size, size});
}

void HStack::sourceChip(TaskSource source)
{
    const QColor color = Theme::sourceColor(source);
    text(label(source), {9, QFont::DemiBold, color});
    m_things.back().chip = Theme::faded(color, sourceChipFillOpacity);
    m_things.back().size += 2 * chipPadding;
}

void HStack::button(const Drawing::Button &button)
{
    Drawing face = composeButton(button);
    const QSizeF size = face.size;
    add(Button{button, std::move(face)}, size);
}

void HStack::spacer(double minimum)
{
    add(Spacer{}, {minimum, 0});
}

QSizeF HStack::size() const
{
    QSizeF size(0, 0);
    for (const Thing &thing : m_things)
        size = {size.width() + thing.gap + thing.size.width(), std::max(size.height(), thing.size.height())};
    return size;
}

// Gives every text its width and its lines, and every spacer its share of the rest.
void HStack::layTexts(double width)
{
    double rest = width;
    for (const Thing &thing : m_things)
        rest -= thing.gap + thing.size.width();
    for (const Shrink turn : {Shrink::First, Shrink::Second}) {
        for (Thing &thing : m_things) {
            const auto *text = std::get_if<Text>(&thing.content);
            if (rest >= 0 || !text || text->shrink != turn)
                continue;
            const double less = std::min(-rest, thing.size.width());
            thing.size.rwidth() -= less;
            rest += less;
        }
    }
    const auto isSpacer = [](const Thing &thing) { return std::holds_alternative<Spacer>(thing.content); };
    const auto spacers = std::ranges::count_if(m_things, isSpacer);
    for (Thing &thing : m_things) {
        if (auto *text = std::get_if<Text>(&thing.content)) {
            // A hair more than it measured: sums of fractions must not cut a text that fits.
            const QSizeF padding = thing.chip ? 2 * chipPadding : QSizeF(0, 0);
            text->block = text->shaped.block(thing.size.width() - padding.width() + 0.01, text->maxLines);
            thing.size.setHeight(text->block.size.height() + padding.height());
        } else if (isSpacer(thing) && rest > 0) {
            thing.size.rwidth() += rest / static_cast<double>(spacers);
        }
    }
}

QRectF HStack::place(Drawing &drawing, QPointF topLeft, double width)
{
    layTexts(width);
    const double height = size().height();
    double x = topLeft.x();
    double end = x;
    for (Thing &thing : m_things) {
        x += thing.gap;
        QRectF box(QPointF(x, topLeft.y() + (height - thing.size.height()) / 2), thing.size);
        x = box.right();
        if (std::holds_alternative<Spacer>(thing.content))
            continue;
        end = x;
        if (thing.chip)
            drawing.add(box, Drawing::Box{.fill = *thing.chip, .radius = sourceChipRadius});
        if (auto *text = std::get_if<Text>(&thing.content))
            drawing.addText(box.topLeft()
                                + (thing.chip ? QPointF(chipPadding.width(), chipPadding.height()) : QPointF()),
                            std::move(text->block));
        else if (auto *button = std::get_if<Button>(&thing.content))
            drawing.addButton(button->button, box.topLeft(), std::move(button->face));
        else if (const auto *icon = std::get_if<Drawing::Icon>(&thing.content))
            drawing.add(box, *icon);
        else
            drawing.add(box, std::get<Drawing::Box>(thing.content));
    }
    return {topLeft, QPointF(end, topLeft.y() + height)};
}

Drawing composeButton(const Drawing::Button &button, double width)
{
    const Drawing::ButtonLook &look = button.look;
    const bool isSwitch = button.role == QAccessible::CheckBox;
    HStack content(buttonIconGap);
    if (!button.icon.isEmpty())
        content.icon(button.icon, look.style.size, look.style.color);
    content.text(button.text, look.style);
    content.setGap(switchGap);
    if (isSwitch)
        content.spacer(trackSize.width());

    Drawing drawing;
    const QSizeF inside = content.size();
    drawing.size = {width > 0 ? width : inside.width() + 2 * look.paddingX, inside.height() + 2 * look.paddingY};
    const QRectF face({0, 0}, drawing.size);
    if (look.fill != Qt::transparent || look.shadow)
        drawing.add(face, Drawing::Box{.fill = look.fill, .radius = look.radius, .shadow = look.shadow});
    const QRectF box = content.place(drawing, {(face.width() - inside.width()) / 2, look.paddingY}, inside.width());
    if (isSwitch)
        addSwitch(drawing, {{inside.width() - trackSize.width(), box.center().y() - trackSize.height() / 2}, trackSize},
                  button.isChecked);
    if (look.border != Qt::transparent)
        drawing.addBorder(face, look.radius, look.border, 1);
    return drawing;
}
