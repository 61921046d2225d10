#include "Plumtide/views/MiniBoardRow.h"

#include "Plumtide/views/HStack.h"

using namespace Qt::StringLiterals;

namespace {

constexpr double miniRowItemGap = 6;
constexpr double projectDot = 5;
constexpr double sourceDot = 4;
constexpr TextStyle miniRowProjectStyle{11, QFont::DemiBold, Theme::text};
constexpr TextStyle miniRowTextStyle{11, QFont::Normal, Theme::secondary};

} // namespace

MiniBoardRow::MiniBoardRow(QWidget *parent) : DrawnButton({}, {}, {.style = miniRowTextStyle}, parent)
{
    setFocusPolicy(Qt::NoFocus); // the board never takes the keyboard from the program the user works in
}

void MiniBoardRow::setLine(const AgentTask &line)
{
    if (line == m_line)
        return;
    m_line = line;
    setObjectName(u"mini.row[%1]"_s.arg(line.id));
    QStringList spoken{line.project, line.waitingReason.value_or(line.currentState)};
    spoken.removeAll(QString());
    setAccessibleName(spoken.join(u"，"_s));
    invalidate();
}

double MiniBoardRow::lineHeight() const
{
    return Theme::face(miniRowTextStyle).lineHeight;
}

QSizeF MiniBoardRow::compose(Drawing &drawing, double width)
{
    HStack row(miniRowItemGap);
    row.dot("dot", projectDot, Theme::projectColor(m_line.project));
    row.text("project", m_line.project, miniRowProjectStyle, HStack::Shrink::Second);
    row.dot("source", sourceDot, Theme::sourceColor(m_line.source));
    row.text("text", m_line.waitingReason.value_or(m_line.currentState), miniRowTextStyle, HStack::Shrink::First);
    row.place(drawing, {0, 0}, width);
    return {width, lineHeight()};
}
