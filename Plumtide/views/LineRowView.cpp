#include "Plumtide/views/LineRowView.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/CopyButton.h"
#include "Plumtide/views/HStack.h"
#include "Plumtide/views/SourceChip.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr double rowPaddingY = 2;
constexpr double lineGap = 4;
constexpr double rowItemGap = 6;
constexpr double rowDotDiameter = 5;
constexpr double titleSpacer = 8;
constexpr double spinSize = 9;
constexpr double turnSize = 8;
constexpr int expandedLines = 3;

constexpr double bodyIndent = 11;
constexpr double bodyTop = 2;
constexpr double bodyGap = 7;
constexpr double eventGap = 3;
constexpr int eventLines = 2;
constexpr double buttonsTop = 2;
constexpr double rowButtonGap = 8;

constexpr double rowQuietDotOpacity = 0.35;
constexpr double waitingDotOpacity = 0.45;

constexpr TextStyle rowTitleStyle{12.5, QFont::Medium, Theme::text};
constexpr TextStyle rowTimeStyle{10.5, QFont::Normal, Theme::secondary};
constexpr TextStyle activityStyle{12, QFont::Normal, Theme::secondary};
constexpr TextStyle purposeLabelStyle{12, QFont::DemiBold, Theme::accent};
constexpr TextStyle purposeStyle{12, QFont::Normal, Theme::text};
constexpr TextStyle eventStyle{11.5, QFont::Normal, Theme::secondary};

const DrawnButton::Look actionLook{.style = {11, QFont::Medium, Theme::text},
                                   .paddingX = 9,
                                   .paddingY = 5,
                                   .fill = Theme::bg,
                                   .radius = 7,
                                   .border = Theme::border};

qint64 silentMinutes(const AgentTask &line, const QDateTime &now)
{
    return line.updatedAt.secsTo(now) / 60;
}

// Whether time has changed nothing of what a row shows.
bool looksTheSame(const AgentTask &line, const QDateTime &before, const QDateTime &now)
{
    return shortAgo(line.updatedAt, before) == shortAgo(line.updatedAt, now)
        && line.isFaded(before) == line.isFaded(now) && line.isStuck(before) == line.isStuck(now)
        && (!line.isStuck(now) || silentMinutes(line, before) == silentMinutes(line, now));
}

constexpr TextStyle inColor(TextStyle style, QColor color)
{
    style.color = color;
    return style;
}

} // namespace

struct LineRowView::Body
{
    CopyButton *copy;
    DrawnButton *edit;
    DrawnButton *shelve; // or resume
    DrawnButton *close;  // archive, or finish

    [[nodiscard]] QList<DrawnButton *> all() const { return {copy, edit, shelve, close}; }
    ~Body()
    {
        for (DrawnButton *button : all()) {
            button->hide();
            button->deleteLater(); // it may be the one that is being pressed
        }
    }
};

LineRowView::LineRowView(TaskStore &store, QWidget *parent)
    : DrawnView(parent), m_store(store), m_expansion([this] { Q_EMIT heightChanged(); })
{
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
}

LineRowView::~LineRowView() = default;

void LineRowView::setLine(const AgentTask &line, const QDateTime &now)
{
    const bool isSame = line == m_line && m_now.isValid() && looksTheSame(line, m_now, now);
    const bool isNewId = line.id != m_line.id;
    m_now = now;
    if (isSame)
        return;
    m_line = line;
    if (isNewId)
        setObjectName(u"row[%1]"_s.arg(line.id));
    setAccessibleName(spokenName());
    if (m_body)
        updateBody();
    redraw();
}

void LineRowView::setExpanded(bool isExpanded, Animate animate)
{
    if (isExpanded == m_expansion.isOpen())
        return;
    if (isExpanded)
        showBody();
    if (animate == Animate::Yes && isVisible())
        m_expansion.animateTo(isExpanded);
    else
        m_expansion.jumpTo(isExpanded);
    redraw();
    if (QAccessible::isActive()) {
        QAccessible::State changed;
        changed.expanded = true;
        QAccessibleStateChangeEvent change(this, changed);
        QAccessible::updateAccessibility(&change);
    }
    Q_EMIT heightChanged();
}

bool LineRowView::isQuiet() const
{
    return m_line.status == AgentTaskStatus::shelved || m_line.isFaded(m_now);
}

QColor LineRowView::dotColor() const
{
    if (isQuiet())
        return Theme::faded(Theme::secondary, rowQuietDotOpacity);
    if (m_line.isUrgent() || m_line.isStuck(m_now))
        return Theme::accent;
    if (m_line.status == AgentTaskStatus::waiting)
        return Theme::faded(Theme::accent, waitingDotOpacity);
    return Theme::secondary;
}

QString LineRowView::activityText() const
{
    if (m_line.isStuck(m_now))
        return u"在跑，但 %1 分钟没动静了，可能卡住了"_s.arg(silentMinutes(m_line, m_now));
    if (m_line.isFaded(m_now))
        return u"这一轮已经结束"_s;
    if (m_line.status == AgentTaskStatus::shelved)
        return u"已搁置"_s;
    return m_line.waitingReason.value_or(m_line.currentState);
}

QString LineRowView::spokenName() const
{
    QStringList parts{m_line.title, SourceChip::label(m_line.source), activityText(),
                      shortAgo(m_line.updatedAt, m_now)};
    parts.removeAll(QString());
    return parts.join(u"，"_s);
}

QString LineRowView::spokenBody() const
{
    QStringList parts = m_line.recentEvents;
    if (!m_line.purpose.isEmpty())
        parts.prepend(u"目标："_s + m_line.purpose);
    return parts.join(u"\n"_s);
}

int LineRowView::layOut(int width)
{
    const auto lines = [](const TextStyle &style) { return Theme::face(style).lineHeight; };
    const double folded = rowPaddingY + lines(rowTitleStyle) + lineGap + lines(activityStyle) + rowPaddingY;
    if (m_expansion.amount() == 0 && !m_expansion.isOpen()) {
        m_body.reset();
        m_height = static_cast<int>(folded);
        return m_height;
    }
    Drawing drawing;
    double y = drawTitleAndActivity(drawing, width);
    y = drawBody(drawing, y, width);
    placeButtons(y);
    const double unfolded = y + m_body->copy->exactSize().height() + rowPaddingY;
    const double amount = m_expansion.amount();
    for (DrawnButton *button : m_body->all())
        button->setOpacity(opacity() * amount);
    m_height = static_cast<int>(std::lround(folded + amount * (unfolded - folded)));
    return m_height;
}

void LineRowView::compose(Drawing &drawing)
{
    const double y = drawTitleAndActivity(drawing, width());
    if (m_body)
        drawBody(drawing, y, width());
}

double LineRowView::drawTitleAndActivity(Drawing &drawing, double width) const
{
    const int maxLines = m_expansion.isOpen() ? expandedLines : 1;
    HStack title(rowItemGap);
    title.dot("dot", rowDotDiameter, dotColor());
    title.text("title", m_line.title, inColor(rowTitleStyle, isQuiet() ? Theme::secondary : Theme::text),
               HStack::Shrink::First, maxLines);
    title.sourceChip("source", "source.text", m_line.source);
    title.spacer(titleSpacer);
    if (m_line.status == AgentTaskStatus::running && !m_line.isStuck(m_now))
        title.icon("spin", u"cycle"_s, spinSize, Theme::secondary);
    title.text("time", shortAgo(m_line.updatedAt, m_now), rowTimeStyle);
    double y = title.place(drawing, {0, rowPaddingY}, width).bottom();

    const bool isCalling = m_line.isStuck(m_now) || m_line.isUrgent();
    HStack activity(rowItemGap);
    activity.icon("turn", u"turn-down-right"_s, turnSize, Theme::secondary);
    activity.text("activity", activityText(), inColor(activityStyle, isCalling ? Theme::accent : Theme::secondary),
                  HStack::Shrink::First, maxLines);
    y = activity.place(drawing, {0, y + lineGap}, width).bottom();
    return y;
}

// The y at which the buttons stand.
double LineRowView::drawBody(Drawing &drawing, double y, double width) const
{
    y += lineGap + bodyTop;
    const double inside = width - bodyIndent;
    if (!m_line.purpose.isEmpty()) {
        TextBlock purpose = layLabelledText(u"目标  "_s, purposeLabelStyle, m_line.purpose, purposeStyle, inside);
        drawing.add("purpose", {{bodyIndent, y}, purpose.size}, std::move(purpose.content));
        y += purpose.size.height() + bodyGap;
    }
    static constexpr const char *names[] = {"event[0]", "event[1]", "event[2]"};
    for (qsizetype i = 0; i < m_line.recentEvents.size(); ++i) {
        TextBlock entry = layText(m_line.recentEvents.at(i), eventStyle, inside, eventLines);
        drawing.add(i < 3 ? names[i] : "event", {{bodyIndent, y}, entry.size}, std::move(entry.content));
        y += entry.size.height() + (i + 1 < m_line.recentEvents.size() ? eventGap : bodyGap);
    }
    return y + buttonsTop;
}

void LineRowView::showBody()
{
    if (m_body)
        return;
    m_body = std::make_unique<Body>();
    m_body->copy = new CopyButton(u"copy"_s, actionLook, this);
    m_body->edit = new DrawnButton(u"编辑"_s, u"pencil"_s, actionLook, this);
    m_body->shelve = new DrawnButton({}, {}, actionLook, this);
    m_body->close = new DrawnButton({}, {}, actionLook, this);
    connect(m_body->copy, &QAbstractButton::clicked, this, [this] { m_body->copy->copy(m_line.title); });
    connect(m_body->edit, &QAbstractButton::clicked, this, [this] {
        m_body->edit->setFocus(Qt::OtherFocusReason); // it comes back here from the form
        Q_EMIT editRequested();
    });
    connect(m_body->shelve, &QAbstractButton::clicked, this, [this] {
        m_store.setStatus(
            m_line.id, m_line.status == AgentTaskStatus::shelved ? AgentTaskStatus::waiting : AgentTaskStatus::shelved);
    });
    connect(m_body->close, &QAbstractButton::clicked, this,
            [this] { m_store.setStatus(m_line.id, AgentTaskStatus::done); });
    updateBody();
    for (DrawnButton *button : m_body->all())
        button->show();
}

void LineRowView::updateBody()
{
    const bool isShelved = m_line.status == AgentTaskStatus::shelved;
    m_body->copy->setCopiedText(m_line.title);
    m_body->shelve->setText(isShelved ? u"恢复"_s : u"搁置"_s);
    m_body->shelve->setIconName(isShelved ? u"u-turn-up"_s : u"tray-down"_s);
    m_body->close->setText(m_line.isAgentLine() ? u"归档"_s : u"完成"_s);
    m_body->close->setIconName(m_line.isAgentLine() ? u"archive-box"_s : u"check"_s);
    const QString prefix = objectName() + u".button."_s;
    m_body->copy->setObjectName(prefix + u"copy"_s);
    m_body->edit->setObjectName(prefix + u"edit"_s);
    m_body->shelve->setObjectName(prefix + (isShelved ? u"resume"_s : u"shelve"_s));
    m_body->close->setObjectName(prefix + (m_line.isAgentLine() ? u"archive"_s : u"finish"_s));
}

void LineRowView::placeButtons(double y)
{
    m_buttonsTop = y;
    double x = bodyIndent;
    for (DrawnButton *button : m_body->all()) {
        const QSizeF size = button->exactSize();
        button->placeAt({{x, y}, size});
        x += size.width() + rowButtonGap;
    }
}

void LineRowView::paintEvent(QPaintEvent *event)
{
    DrawnView::paintEvent(event);
    if (hasFocus() && m_showsFocus) {
        QPainter painter(this);
        constexpr double ring = 3; // its outer edge is the row's
        paintFocusRing(painter, QRectF(rect()).adjusted(ring, ring, -ring, -ring), ring);
    }
}

void LineRowView::mousePressEvent(QMouseEvent *event)
{
    m_isPressed = event->button() == Qt::LeftButton;
}

void LineRowView::mouseReleaseEvent(QMouseEvent *event)
{
    if (std::exchange(m_isPressed, false) && event->button() == Qt::LeftButton && rect().contains(event->pos()))
        Q_EMIT clicked();
}

void LineRowView::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
    case Qt::Key_Select:
        if (!event->isAutoRepeat())
            Q_EMIT clicked();
        return;
    default: DrawnView::keyPressEvent(event);
    }
}

void LineRowView::focusInEvent(QFocusEvent *event)
{
    m_showsFocus = isKeyboardFocus(event->reason()) || (m_showsFocus && event->reason() == Qt::ActiveWindowFocusReason);
    update();
}

void LineRowView::focusOutEvent(QFocusEvent * /*event*/)
{
    update();
}
