#include "Plumtide/views/DrawnView.h"

#include "Plumtide/views/Accessibility.h"
#include "Plumtide/views/LineMenu.h"

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
constexpr double hoverTone = 0.1; // behind what is no button
constexpr auto flashTime = 1200ms;

} // namespace

DrawnView::DrawnView(QAccessible::Role role, QWidget *parent) : QAbstractButton(parent), m_role(role)
{
    installAccessibility();
    setFocusPolicy(Qt::NoFocus);
}

void DrawnView::setPressable()
{
    m_isPressable = true;
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover); // repaints it when the pointer comes and goes
}

void DrawnView::setDrawing(Drawing drawing)
{
    update(drawing.changesSince(m_drawing).translated(m_box.topLeft().toPoint()));
    m_drawing = std::move(drawing);
    QList<DrawnButton *> before = std::exchange(m_buttons, {});
    for (const Drawing::Control &control : m_drawing.controls()) {
        const auto known = std::ranges::find(before, control.button.name, &DrawnButton::name);
        DrawnButton *button = known == before.end() ? new DrawnButton(*this) : before.takeAt(known - before.begin());
        m_buttons.append(button);
        button->set(control);
    }
    placeButtons();
    for (DrawnButton *button : std::as_const(before)) {
        button->hide();
        button->deleteLater(); // it may be the one that is being pressed
    }
    if (QAccessible::isActive()) {
        QAccessibleEvent event(this, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&event);
    }
}

void DrawnView::tellState(QAccessible::State changed)
{
    if (!QAccessible::isActive())
        return;
    QAccessibleStateChangeEvent event(this, changed);
    QAccessible::updateAccessibility(&event);
}

void DrawnView::setExpanded(bool isExpanded)
{
    QAccessible::State changed;
    changed.expanded = std::exchange(m_isExpanded, isExpanded) != isExpanded;
    tellState(changed);
}

void DrawnView::place(const QRectF &box, double margin)
{
    const QRect around = box.adjusted(-margin, -margin, margin, margin).toAlignedRect();
    const QRectF before = std::exchange(m_box, box.translated(-around.topLeft()));
    setGeometry(around);
    if (m_box != before) {
        placeButtons();
        update();
    }
}

void DrawnView::placeButtons()
{
    for (std::size_t i = 0; i < m_drawing.controls().size(); ++i) {
        DrawnButton *button = m_buttons.at(static_cast<qsizetype>(i));
        button->place(m_drawing.controls()[i].box.translated(m_box.topLeft()), button->reach());
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
    placeButtons();
    update();
}

QList<QWidget *> DrawnView::controls()
{
    QList<QWidget *> controls{this};
    for (DrawnButton *button : std::as_const(m_buttons))
        controls.append(button);
    controls.removeIf(
        [](const QWidget *control) { return control->focusPolicy() == Qt::NoFocus || !control->isEnabled(); });
    return controls;
}

void DrawnView::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool isButton = role() != QAccessible::ListItem;
    double opacity = m_opacity;
    if (m_isPressable && isButton && isEnabled())
        opacity *= isDown() ? pressedOpacity : underMouse() ? hoverOpacity : 1;
    if (m_isPressable && !isButton && underMouse()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::faded(Theme::secondary, hoverTone));
        painter.drawRoundedRect(m_box.adjusted(-3, -1, 3, 1), radius(), radius());
    }
    painter.translate(m_box.topLeft());
    m_drawing.paint(painter, QRectF(event->rect()).translated(-m_box.topLeft()), opacity);
    if (!m_showsFocus || !hasFocus())
        return;
    const double out = (isButton ? ringGap : 2 * ringGap) + ringWidth / 2; // further from a row's dot and time
    painter.setPen(QPen(Theme::faded(Theme::accent, 0.8), ringWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF({0, 0}, m_box.size()).adjusted(-out, -out, out, out), radius() + out,
                            radius() + out);
}

void DrawnView::keyPressEvent(QKeyEvent *event)
{
    const QString about = subject();
    const auto wish =
        std::ranges::find(LineMenu::wishes(), QKeySequence(event->keyCombination()), &LineMenu::Wish::key);
    if (!about.isEmpty() && wish != LineMenu::wishes().end()) {
        Q_EMIT wished(wish->name, about);
        return;
    }
    const int key = event->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        if (m_isPressable && !event->isAutoRepeat())
            click();
    } else if (role() == QAccessible::ListItem && (key == Qt::Key_Up || key == Qt::Key_Down)) {
        event->ignore(); // QAbstractButton would go to the next control
    } else {
        QAbstractButton::keyPressEvent(event);
    }
}

void DrawnView::mouseDoubleClickEvent(QMouseEvent *event)
{
    // The first press may have been for something else, in whose place this is now.
    if (!m_sincePress.isValid() || m_sincePress.elapsed() >= QApplication::doubleClickInterval())
        return;
    mousePressEvent(event); // its second press undoes what its first has unfolded
    if (event->button() == Qt::LeftButton && !m_subject.isEmpty() && m_subject == m_pressedSubject)
        Q_EMIT wished(LineMenu::session, m_subject);
}

void DrawnView::contextMenuEvent(QContextMenuEvent *event)
{
    if (!subject().isEmpty())
        Q_EMIT menuRequested(subject(), event->globalPos());
    else
        event->ignore();
}

void DrawnView::mousePressEvent(QMouseEvent *event)
{
    m_sincePress.start();
    if (event->type() == QEvent::MouseButtonPress)
        m_pressedSubject = m_subject;
    if (m_isPressable)
        QAbstractButton::mousePressEvent(event);
    else
        event->ignore();
}

void DrawnView::focusInEvent(QFocusEvent *event)
{
    constexpr std::array byKeyboard{Qt::TabFocusReason, Qt::BacktabFocusReason, Qt::ShortcutFocusReason};
    m_showsFocus = std::ranges::count(byKeyboard, event->reason()) > 0
        || (m_showsFocus && event->reason() == Qt::ActiveWindowFocusReason);
    QAbstractButton::focusInEvent(event);
}

DrawnButton::DrawnButton(DrawnView &view) : DrawnView(QAccessible::Button, &view)
{
    setPressable();
    connect(this, &DrawnView::wished, &view, &DrawnView::wished);
    connect(this, &DrawnView::menuRequested, &view, &DrawnView::menuRequested);
    connect(this, &QAbstractButton::pressed, this, [this] {
        // A second click of a double click was meant for what stood here before.
        const bool isTooSoon = m_sinceChange.isValid() && m_sinceChange.elapsed() < QApplication::doubleClickInterval();
        m_pressed = isTooSoon ? std::nullopt : std::optional(m_button);
    });
    connect(this, &QAbstractButton::clicked, this, &DrawnButton::press);
}

void DrawnButton::set(const Drawing::Control &control)
{
    const Drawing::Button before = std::exchange(m_button, control.button);
    if (m_button == before && box().size() == control.box.size())
        return;
    if ((before.subject != m_button.subject || before.text != m_button.text) && !before.name.isEmpty() && isVisible())
        m_sinceChange.start();
    setObjectName(m_button.name);
    setEnabled(m_button.isEnabled);
    setToolTip(m_button.hint);
    setAccessibleDescription(m_button.description);
    setAccessibleName(m_button.text); // no text of QAbstractButton, in which "&" makes a key
    setDrawing(control.face);
    QAccessible::State changed;
    changed.checked = before.isChecked != m_button.isChecked;
    tellState(changed);
}

double DrawnButton::reach() const
{
    const std::optional<Drawing::Shadow> &shadow = m_button.look.shadow;
    return std::max(ringGap + ringWidth, shadow ? 3 * shadow->deviation + shadow->offset.y() : 0);
}

void DrawnButton::press()
{
    const bool isSame = m_pressed && m_pressed->subject == m_button.subject;
    if (!m_pressed || (isSame && m_pressed->text != m_button.text))
        return; // "恢复" was pressed, and the line has been taken up meanwhile
    if (!m_button.flash.isEmpty() && isSame) {
        showText(m_button.flash);
        QTimer::singleShot(flashTime, this, [this] { showText(m_button.text); });
    }
    Q_EMIT wished(m_button.name, m_pressed->subject);
}

void DrawnButton::showText(const QString &text)
{
    Drawing::Button shown = m_button;
    shown.text = text;
    setAccessibleName(text);
    setDrawing(composeButton(shown, box().width()));
}
