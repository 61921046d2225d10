#include "Plumtide/views/FocusCardView.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/CopyButton.h"
#include "Plumtide/views/HStack.h"

#include <QApplication>

#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr double focusPadding = 14;
constexpr double focusGap = 8;
constexpr double focusRadius = 12;
constexpr double focusDotDiameter = 8;
constexpr double focusItemGap = 8;
constexpr double focusButtonGap = 6;
constexpr double borderWidth = 1.5;
constexpr double focusUrgentBorderOpacity = 0.55;
constexpr double calmBorderOpacity = 0.3;
constexpr int reasonLines = 2;
const Drawing::Shadow focusShadow{Theme::faded(Theme::accent, 0.07), 6, {0, 2}};

constexpr TextStyle focusLabelStyle{11, QFont::Bold, Theme::accent, TextStyle::Design::Sans, 2};
constexpr TextStyle focusTimeStyle{11, QFont::Normal, Theme::secondary};
constexpr TextStyle focusProjectStyle{18, QFont::DemiBold, Theme::text, TextStyle::Design::Serif};
constexpr TextStyle focusTitleStyle{12, QFont::Normal, Theme::secondary};
constexpr TextStyle urgentReasonStyle{12.5, QFont::Normal, Theme::accent};
constexpr TextStyle calmReasonStyle{12.5, QFont::Normal, Theme::secondary};

// smallButton
const DrawnButton::Look smallLook{.style = {11, QFont::Medium, Theme::text},
                                  .paddingX = 8,
                                  .paddingY = 4,
                                  .fill = Theme::bg,
                                  .radius = 6,
                                  .border = Theme::border};

} // namespace

FocusCardView::FocusCardView(TaskStore &store, QWidget *parent)
    : DrawnView(parent),
      m_copy(new CopyButton({}, smallLook, this)),
      m_edit(new DrawnButton(u"编辑"_s, {}, smallLook, this)),
      m_close(new DrawnButton({}, {}, smallLook, this))
{
    setObjectName(u"focus"_s);
    m_copy->setObjectName(u"focus.button.copy"_s);
    m_edit->setObjectName(u"focus.button.edit"_s);
    m_close->setObjectName(u"focus.button.close"_s);
    m_origin = {shadowMargin, shadowMargin};
    for (DrawnButton *button : {static_cast<DrawnButton *>(m_copy), m_edit, m_close})
        connect(button, &QAbstractButton::pressed, this, [this] {
            const bool isTooSoon =
                m_sinceChange.isValid() && m_sinceChange.elapsed() < QApplication::doubleClickInterval();
            m_pressed = isTooSoon ? std::nullopt : std::optional(m_task);
        });
    connect(m_copy, &QAbstractButton::clicked, this, [this] {
        if (m_pressed)
            m_copy->copy(m_pressed->title);
    });
    connect(m_edit, &QAbstractButton::clicked, this, [this] {
        if (!m_pressed)
            return;
        m_edit->setFocus(Qt::OtherFocusReason); // it comes back here from the form
        Q_EMIT editRequested(*m_pressed);
    });
    connect(m_close, &QAbstractButton::clicked, this, [this, &store] {
        if (m_pressed)
            store.setStatus(m_pressed->id, AgentTaskStatus::done);
    });
}

void FocusCardView::setTask(const AgentTask &task, const QDateTime &now)
{
    const bool isSame =
        task == m_task && m_now.isValid() && shortAgo(task.updatedAt, now) == shortAgo(task.updatedAt, m_now);
    m_now = now;
    if (isSame)
        return;
    if (task.id != m_task.id && isVisible())
        m_sinceChange.start();
    m_task = task;
    m_isLaidOut = false;
    m_copy->setCopiedText(task.title);
    // Codex lines are offered "完成" here, "归档" in their rows.
    m_close->setText(task.id.startsWith(u"cc-"_s) ? u"归档"_s : u"完成"_s);
    redraw();
}

int FocusCardView::layOut(int width)
{
    if (std::exchange(m_isLaidOut, true) && width == m_width)
        return m_height;
    m_width = width;
    Drawing drawing;
    m_buttonsTop = drawContent(drawing, width);
    placeButtons();
    m_height = static_cast<int>(std::lround(m_buttonsTop + m_copy->exactSize().height() + focusPadding));
    return m_height;
}

double FocusCardView::drawContent(Drawing &drawing, double width) const
{
    const double inside = width - 2 * focusPadding;
    HStack head(0);
    head.text("label", u"下一步"_s, focusLabelStyle);
    head.spacer();
    head.text("time", shortAgo(m_task.updatedAt, m_now), focusTimeStyle);
    double y = head.place(drawing, {focusPadding, focusPadding}, inside).bottom() + focusGap;

    HStack project(focusItemGap);
    project.dot("dot", focusDotDiameter, Theme::projectColor(m_task.project));
    project.text("project", m_task.project, focusProjectStyle, HStack::Shrink::First);
    project.sourceChip("source", "source.text", m_task.source);
    y = project.place(drawing, {focusPadding, y}, inside).bottom() + focusGap;

    const auto addText = [&](const char *name, const QString &text, const TextStyle &style, int maxLines) {
        TextBlock block = layText(text, style, inside, maxLines);
        drawing.add(name, {{focusPadding, y}, block.size}, std::move(block.content));
        y += block.size.height() + focusGap;
    };
    if (m_task.title != m_task.project)
        addText("title", m_task.title, focusTitleStyle, 1);
    if (m_task.waitingReason)
        addText("reason", *m_task.waitingReason, m_task.isUrgent() ? urgentReasonStyle : calmReasonStyle, reasonLines);
    return y;
}

void FocusCardView::placeButtons()
{
    double right = shadowMargin + m_width - focusPadding;
    for (DrawnButton *button : {m_close, m_edit, static_cast<DrawnButton *>(m_copy)}) {
        const QSizeF size = button->exactSize();
        button->placeAt({{right - size.width(), shadowMargin + m_buttonsTop}, size});
        right -= size.width() + focusButtonGap;
    }
}

void FocusCardView::compose(Drawing &drawing)
{
    const QRectF face({0, 0}, QSizeF(size()).shrunkBy({shadowMargin, shadowMargin, shadowMargin, shadowMargin}));
    drawing.add("card", face, Drawing::Box{.fill = Theme::card, .radius = focusRadius, .shadow = focusShadow});
    drawContent(drawing, face.width());
    drawing.addBorder("border", face, focusRadius,
                      Theme::faded(Theme::accent, m_task.isUrgent() ? focusUrgentBorderOpacity : calmBorderOpacity),
                      borderWidth);
}
