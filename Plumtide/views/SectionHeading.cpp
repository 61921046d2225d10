#include "Plumtide/views/SectionHeading.h"

#include "Plumtide/views/HStack.h"

using namespace Qt::StringLiterals;

namespace {

constexpr double headingDotDiameter = 7;
constexpr double headingItemGap = 6;
constexpr double headingQuietDotOpacity = 0.6;
constexpr double fontSize = 12;

struct HeadingLook
{
    const char16_t *name;
    QColor dot;
    QColor text;
};

HeadingLook lookOf(ProjectSection section)
{
    switch (section) {
    case ProjectSection::pending: return {u"section.pending", Theme::accent, Theme::accent};
    case ProjectSection::inProgress: return {u"section.inProgress", Theme::secondary, Theme::secondary};
    case ProjectSection::quiet:
        return {u"section.quiet", Theme::faded(Theme::secondary, headingQuietDotOpacity), Theme::secondary};
    }
    Q_UNREACHABLE();
}

TextStyle styleOf(ProjectSection section)
{
    return {fontSize, QFont::DemiBold, lookOf(section).text};
}

} // namespace

SectionHeading::SectionHeading(ProjectSection section, QWidget *parent) : DrawnView(parent), m_section(section)
{
    setObjectName(QString::fromUtf16(lookOf(section).name));
}

void SectionHeading::setCount(qsizetype groups)
{
    if (m_count == groups)
        return;
    m_count = groups;
    redraw();
}

int SectionHeading::layOut(int /*width*/)
{
    return static_cast<int>(Theme::face(styleOf(m_section)).lineHeight);
}

void SectionHeading::compose(Drawing &drawing)
{
    HStack row(headingItemGap);
    row.dot("dot", headingDotDiameter, lookOf(m_section).dot);
    row.text("label", label(m_section), styleOf(m_section));
    row.text("number", QString::number(m_count), styleOf(m_section));
    row.place(drawing, {0, 0}, width());
}
