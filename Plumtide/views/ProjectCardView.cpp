#include "Plumtide/views/ProjectCardView.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/DrawnButton.h"
#include "Plumtide/views/HStack.h"

#include <algorithm>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr double cardPaddingY = 10;
constexpr double paddingRight = 11;
constexpr double paddingLeft = 11;
constexpr double paddingLeftOfPending = 13;
constexpr double cardGap = 8;
constexpr double cardRadius = 10;

constexpr double cardDotDiameter = 7;
constexpr double cardHeaderGap = 6;
constexpr double headerSpacer = 8;
constexpr double barWidth = 3;
constexpr double cardUrgentBorderOpacity = 0.35;
constexpr double calmBarOpacity = 0.4;
constexpr double quietOpacity = 0.75;

constexpr TextStyle nameStyle{14, QFont::DemiBold, Theme::text, TextStyle::Design::Serif};
constexpr TextStyle cardTimeStyle{11, QFont::Normal, Theme::secondary};
constexpr TextStyle summaryStyle{11.5, QFont::Normal, Theme::secondary};
const DrawnButton::Look foldLook{.style = {11, QFont::Normal, Theme::secondary}};

double paddingLeftIn(ProjectSection section)
{
    return section == ProjectSection::pending ? paddingLeftOfPending : paddingLeft;
}

QDateTime newestChange(const ProjectGroup &group)
{
    QDateTime newest;
    for (const AgentTask &line : group.lines) {
        if (!newest.isValid() || newest < line.updatedAt)
            newest = line.updatedAt;
    }
    return newest;
}

// When the first minute of a line is full: every rule that looks at the time counts whole minutes.
qint64 nextChange(const ProjectGroup &group, const QDateTime &now)
{
    constexpr qint64 minute = 60'000;
    const qint64 present = now.toMSecsSinceEpoch();
    qint64 next = present + minute;
    for (const AgentTask &line : group.lines) {
        const qint64 intoMinute = (present - line.updatedAt.toMSecsSinceEpoch()) % minute;
        next = std::min(next, present + (intoMinute > 0 ? minute - intoMinute : std::max<qint64>(1, -intoMinute)));
    }
    return next;
}

} // namespace

ProjectCardView::ProjectCardView(TaskStore &store, QWidget *parent)
    : DrawnView(parent), m_store(store), m_unfolding([this] {
          if (m_unfolding.amount() == 0)
              keepRows();
          changeHeight();
      })
{
}

LineRowView *ProjectCardView::row(const QString &id) const
{
    return m_rowById.value(id);
}

void ProjectCardView::setGroup(const ProjectGroup &group, const QDateTime &now)
{
    const bool isSameGroup = m_now.isValid() && group == m_group;
    if (isSameGroup && now >= m_now && now.toMSecsSinceEpoch() < m_validUntil)
        return;
    const ProjectSection section = group.section(now);
    m_group = group;
    m_section = section;
    m_now = now;
    m_validUntil = nextChange(group, now);
    m_laidOutWidth = 0;
    if (!isSameGroup)
        setObjectName(u"card[%1]"_s.arg(group.name));
    setOpacity(section == ProjectSection::quiet ? quietOpacity : 1);
    keepRows();
    // Rows draw themselves. Here it is only what stands around them.
    const QStringList texts{group.name, shortAgo(newestChange(group), now), group.summaryText(now),
                            QString::number(group.isUrgent()), QString::number(static_cast<int>(section))};
    if (std::exchange(m_shown, texts) != texts)
        redraw();
}

// The active lines: those that are never folded away.
QList<AgentTask> ProjectCardView::activeLines() const
{
    QList<AgentTask> lines;
    std::copy_if(m_group.lines.begin(), m_group.lines.end(), std::back_inserter(lines), [this](const AgentTask &line) {
        return line.status != AgentTaskStatus::shelved && !line.isFaded(m_now);
    });
    return lines;
}

void ProjectCardView::keepRows()
{
    QList<AgentTask> lines = activeLines();
    const QList<AgentTask> quiet = m_group.quietLines(m_now);
    m_activeCount = lines.size();
    m_quietCount = quiet.size();
    if (lines.isEmpty() || m_unfolding.isOpen() || m_unfolding.amount() > 0)
        lines += quiet;

    QHash<QString, LineRowView *> gone = std::exchange(m_rowById, {});
    const QList<LineRowView *> before = std::exchange(m_rows, {});
    for (const AgentTask &line : std::as_const(lines)) {
        LineRowView *row = gone.take(line.id);
        const bool isNew = !row;
        if (isNew)
            row = makeRow();
        row->setOpacity(opacity());
        row->setLine(line, m_now);
        m_rows.append(row);
        m_rowById.insert(line.id, row);
        if (isNew) {
            Q_EMIT rowAdded(row);
            row->show();
        }
    }
    for (LineRowView *row : std::as_const(gone)) {
        row->hide();
        row->deleteLater();
    }
    if (m_rows != before) {
        for (LineRowView *row : std::as_const(m_rows))
            row->raise(); // screen readers go through them in the order of the children
    }
    updateFold();
}

LineRowView *ProjectCardView::makeRow()
{
    auto *row = new LineRowView(m_store, this);
    connect(row, &LineRowView::clicked, this, [this, row] { Q_EMIT rowClicked(row->line().id); });
    connect(row, &LineRowView::editRequested, this, [this, row] { Q_EMIT editRequested(row->line()); });
    connect(row, &LineRowView::heightChanged, this, &ProjectCardView::changeHeight);
    return row;
}

void ProjectCardView::updateFold()
{
    const bool canFold = m_activeCount > 0 && m_quietCount > 0;
    if (!canFold) {
        delete std::exchange(m_fold, nullptr);
        return;
    }
    if (!m_fold) {
        m_fold = new DrawnButton({}, {}, foldLook, this);
        connect(m_fold, &QAbstractButton::clicked, this,
                [this] { setShowQuiet(!m_unfolding.isOpen(), LineRowView::Animate::Yes); });
        m_fold->show();
    }
    m_fold->raise();
    m_fold->setObjectName(objectName() + u".fold"_s);
    m_fold->setOpacity(opacity());
    m_fold->setText(m_unfolding.isOpen() ? u"收起"_s : u"还有 %1 条暂时没新动静"_s.arg(m_quietCount));
    m_fold->setIconName(m_unfolding.isOpen() ? u"chevron-up"_s : u"chevron-down"_s);
}

void ProjectCardView::setShowQuiet(bool showQuiet, LineRowView::Animate animate)
{
    if (animate == LineRowView::Animate::Yes && isVisible())
        m_unfolding.animateTo(showQuiet);
    else
        m_unfolding.jumpTo(showQuiet);
    keepRows();
    changeHeight();
}

void ProjectCardView::changeHeight()
{
    m_laidOutWidth = 0;
    Q_EMIT heightChanged();
}

int ProjectCardView::layOut(int width)
{
    if (std::exchange(m_laidOutWidth, width) == width)
        return m_height;
    const double left = paddingLeftIn(m_section);
    const int inside = static_cast<int>(width - left - paddingRight);
    double y = cardPaddingY + Theme::face(nameStyle).lineHeight;
    if (!m_group.summaryText(m_now).isEmpty() && m_group.lines.size() >= 2)
        y += cardGap + Theme::face(summaryStyle).lineHeight;

    const double y0 = y;
    // Rows that can be folded away are cut off where the unfolding has got to.
    double below = y;
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        if (m_activeCount > 0 && i == m_activeCount)
            below = y;
        LineRowView *row = m_rows.at(i);
        y += cardGap + row->layOut(inside);
    }
    const double end =
        m_activeCount > 0 && m_rows.size() > m_activeCount ? std::round(below + (y - below) * m_unfolding.amount()) : y;
    double top = y0;
    for (LineRowView *row : std::as_const(m_rows)) {
        top += cardGap;
        const int height = row->laidOutHeight();
        row->setGeometry(static_cast<int>(left), static_cast<int>(std::lround(top)), inside,
                         static_cast<int>(std::clamp(end - top, 0.0, static_cast<double>(height))));
        top += height;
    }
    y = end;
    if (m_fold) {
        y += cardGap;
        const QSizeF size = m_fold->exactSize();
        m_fold->placeAt({{left, y}, size});
        y += size.height();
    }
    m_height = static_cast<int>(std::lround(y + cardPaddingY));
    return m_height;
}

void ProjectCardView::compose(Drawing &drawing)
{
    const QRectF face(rect());
    const bool isUrgent = m_group.isUrgent();
    const double left = paddingLeftIn(m_section);
    const double inside = face.width() - left - paddingRight;

    drawing.add("", face, Drawing::Box{.fill = Theme::card, .radius = cardRadius});
    HStack header(cardHeaderGap);
    header.dot("dot", cardDotDiameter, Theme::projectColor(m_group.name));
    header.text("name", m_group.name, nameStyle, HStack::Shrink::First);
    header.spacer(headerSpacer);
    header.text("time", shortAgo(newestChange(m_group), m_now), cardTimeStyle);
    const QRectF headerBox = header.place(drawing, {left, cardPaddingY}, inside);
    const QString summary = m_group.summaryText(m_now);
    if (!summary.isEmpty() && m_group.lines.size() >= 2) {
        TextBlock text = layText(summary, summaryStyle, inside);
        drawing.add("summary", {{left, headerBox.bottom() + cardGap}, text.size}, std::move(text.content));
    }
    drawing.addBorder("border", face, cardRadius,
                      isUrgent ? Theme::faded(Theme::accent, cardUrgentBorderOpacity) : Theme::border, 1);
    if (m_section == ProjectSection::pending) {
        QPainterPath outline;
        outline.addRoundedRect(face, cardRadius, cardRadius);
        drawing.add(
            "bar", QRectF(0, 0, barWidth, face.height()),
            Drawing::Box{.fill = Theme::faded(Theme::accent, isUrgent ? 1 : calmBarOpacity), .outline = outline});
    }
}
