#include "Plumtide/views/DrawnView.h"

#include "Plumtide/views/Accessibility.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr double ringWidth = 2;
constexpr double ringGap = 1;
constexpr double pressedOpacity = 0.6;
constexpr double hoverOpacity = 0.8;
constexpr double hoverTone = 0.1; // of a row's background, under the pointer
constexpr auto flashTime = 1200ms;

} // namespace

DrawnView::DrawnView(QAccessible::Role role, QWidget *parent) : QAbstractButton(parent), m_role(role)
{
    installAccessibility();
    Theme::setPalette();
    setFocusPolicy(Qt::NoFocus);
}

void DrawnView::setPressable()
{
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover); // repaints it when the pointer comes and goes
}

void DrawnView::setDrawing(Drawing drawing)
{
    update(drawing.changesSince(m_drawing).translated(m_box.topLeft().toPoint()));
    m_drawing = std::move(drawing);
    const QList<DrawnButton *> before = std::exchange(m_buttons, {});
    for (const Drawing::Control &control : m_drawing.controls()) {
        DrawnButton *known = before.value(m_buttons.size());
        m_buttons.append(known ? known : new DrawnButton(control.button, *this));
        m_buttons.last()->set(control);
    }
    layOutButtons();
    for (DrawnButton *button : before.sliced(std::min(before.size(), m_buttons.size()))) {
        button->hide();
        button->deleteLater(); // it may be the one that is being pressed
    }
    if (QAccessible::isActive()) {
        QAccessibleEvent event(this, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&event);
    }
}

void DrawnView::setExpanded(bool isExpanded)
{
    QAccessible::State changed;
    changed.expanded = std::exchange(m_isExpanded, isExpanded) != isExpanded;
    if (!QAccessible::isActive())
        return;
    QAccessibleStateChangeEvent event(this, changed);
    QAccessible::updateAccessibility(&event);
}

void DrawnView::setContentRect(const QRectF &box, double margin)
{
    const QRect around = box.adjusted(-margin, -margin, margin, margin).toAlignedRect();
    const QRectF before = std::exchange(m_box, box.translated(-around.topLeft()));
    setGeometry(around);
    if (m_box != before) {
        layOutButtons();
        update();
    }
}

void DrawnView::layOutButtons()
{
    for (std::size_t i = 0; i < m_drawing.controls().size(); ++i) {
        DrawnButton *button = m_buttons.at(static_cast<qsizetype>(i));
        button->setContentRect(m_drawing.controls()[i].box.translated(m_box.topLeft()), button->paintMargin());
        button->setOpacity(m_opacity * m_opacityOfButtons);
        button->show();
    }
}

void DrawnView::setOpacity(double opacity, double ofButtons)
{
    if (m_opacity == opacity && m_opacityOfButtons == ofButtons)
        return;
    m_opacity = opacity;
    m_opacityOfButtons = ofButtons;
    layOutButtons();
    update();
}

QList<QWidget *> DrawnView::controls()
{
    QList<QWidget *> controls(m_buttons.cbegin(), m_buttons.cend());
    if (focusPolicy() != Qt::NoFocus)
        controls.prepend(this);
    return controls;
}

void DrawnView::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool isButton = !isOnBoard();
    double opacity = m_opacity;
    if (isPressable() && isButton)
        opacity *= isDown() ? pressedOpacity : underMouse() ? hoverOpacity : 1;
    if (isPressable() && !isButton && underMouse()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::faded(Theme::secondary, hoverTone));
        painter.drawRoundedRect(m_box.adjusted(-3, -1, 3, 1), radius(), radius());
    }
    painter.translate(m_box.topLeft());
    m_drawing.paint(painter, QRectF(event->rect()).translated(-m_box.topLeft()), opacity);
    if (!m_showsFocus || !hasFocus())
        return;
    const double out = (isButton ? ringGap : 2 * ringGap) + ringWidth / 2; // a dot and a time need more room
    painter.setPen(QPen(Theme::faded(Theme::accent, 0.8), ringWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF({0, 0}, m_box.size()).adjusted(-out, -out, out, out), radius() + out,
                            radius() + out);
}

void DrawnView::keyPressEvent(QKeyEvent *event)
{
    const int key = event->key();
    const bool isEnter = key == Qt::Key_Return || key == Qt::Key_Enter;
    if (((isEnter || key == Qt::Key_Space) && (!isLineChosen() || focusPolicy() == Qt::NoFocus))
        || (isOnBoard() && (key == Qt::Key_Up || key == Qt::Key_Down))) {
        event->ignore(); // QAbstractButton would press it, or go to the next control
    } else if (!isEnter) {
        QAbstractButton::keyPressEvent(event);
    } else if (!event->isAutoRepeat()) {
        click();
    }
}

void DrawnView::mouseDoubleClickEvent(QMouseEvent *event)
{
    // The first press may have been on another widget that stood here.
    if (!m_sincePress.isValid() || m_sincePress.elapsed() >= QApplication::doubleClickInterval())
        return;
    const bool isSameLine = m_chosenLine == m_line;
    mousePressEvent(event); // a second press, which folds what the first one has unfolded
    if (event->button() == Qt::LeftButton && !m_line.isEmpty() && isSameLine)
        Q_EMIT activated(LineCommand{LineAction::OpenSession, m_line});
}

void DrawnView::contextMenuEvent(QContextMenuEvent *event)
{
    if (!line().isEmpty())
        Q_EMIT menuRequested(line(), event->globalPos());
    else
        event->ignore();
}

void DrawnView::mousePressEvent(QMouseEvent *event)
{
    m_sincePress.start();
    m_chosenLine = line();
    if (isPressable())
        QAbstractButton::mousePressEvent(event);
    else
        event->ignore();
}

void DrawnView::focusInEvent(QFocusEvent *event)
{
    constexpr std::array byKeyboard{Qt::TabFocusReason, Qt::BacktabFocusReason, Qt::ShortcutFocusReason};
    m_showsFocus = std::ranges::count(byKeyboard, event->reason()) > 0
        || (m_showsFocus && event->reason() == Qt::ActiveWindowFocusReason);
    if (event->reason() != Qt::ActiveWindowFocusReason && event->reason() != Qt::PopupFocusReason)
        m_chosenLine = line();
    QAbstractButton::focusInEvent(event);
}

DrawnButton::DrawnButton(const Drawing::Button &button, DrawnView &view) : DrawnView(button.role, &view)
{
    setPressable();
    setCheckable(button.role != QAccessible::Button);
    connect(this, &DrawnView::activated, &view, &DrawnView::activated);
    connect(this, &DrawnView::menuRequested, &view, &DrawnView::menuRequested);
    connect(this, &QAbstractButton::pressed, this, [this] {
        // A second click of a double click was meant for what stood here before.
        const bool isTooSoon = m_sinceChange.isValid() && m_sinceChange.elapsed() < QApplication::doubleClickInterval();
        m_pressed = isTooSoon ? std::nullopt : std::optional(m_button.command);
    });
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (!m_pressed)
            return;
        if (!m_button.doneText.isEmpty() && m_pressed == m_button.command) {
            Drawing::Button done = m_button;
            done.text = m_button.doneText;
            showFace(done.text, composeButton(done, done.look.padding.isNull() ? 0 : box().width()));
            QTimer::singleShot(flashTime, this, [this] { showFace(m_button.text, m_face); });
        }
        Q_EMIT activated(*m_pressed);
    });
}

void DrawnButton::set(const Drawing::Control &control)
{
    const Drawing::Button before = std::exchange(m_button, control.button);
    if (m_button == before && box().size() == control.box.size())
        return;
    if ((before.command != m_button.command || before.text != m_button.text) && isVisible())
        m_sinceChange.start();
    setToolTip(m_button.hint);
    setAccessibleDescription(m_button.description);
    m_face = control.face;
    showFace(m_button.text, m_face);
    setChecked(m_button.isChecked);
}

double DrawnButton::paintMargin() const
{
    const std::optional<Drawing::Shadow> &shadow = m_button.look.face.shadow;
    return std::max(ringGap + ringWidth, shadow ? 3 * shadow->deviation + shadow->offset.y() : 0);
}

void DrawnButton::showFace(const QString &text, const Drawing &face)
{
    setAccessibleName(text); // no text of QAbstractButton, in which "&" makes a key
    setDrawing(face);
}
