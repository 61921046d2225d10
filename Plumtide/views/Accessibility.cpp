#include "Plumtide/views/Accessibility.h"

#include "Plumtide/views/DrawnButton.h"
#include "Plumtide/views/FormFields.h"
#include "Plumtide/views/LineRowView.h"
#include "Plumtide/views/ProjectCardView.h"
#include "Plumtide/views/SectionHeading.h"

#include <QAccessibleWidget>

using namespace Qt::StringLiterals;

namespace {

/// A view that only shows something; it is read out as its texts.
class AccessibleDrawing final : public QAccessibleWidget
{
public:
    AccessibleDrawing(DrawnView *view, QAccessible::Role role) : QAccessibleWidget(view, role), m_view(view) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        const QString text = QAccessibleWidget::text(kind);
        return kind == QAccessible::Name && text.isEmpty() ? m_view->drawing().spokenText() : text;
    }

private:
    DrawnView *m_view;
};

/// Something that can be pressed.
class AccessibleControl : public QAccessibleWidget
{
public:
    using QAccessibleWidget::QAccessibleWidget;

    [[nodiscard]] QStringList actionNames() const override
    {
        return QStringList{pressAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString &name) override
    {
        if (name == pressAction())
            press();
        else
            QAccessibleWidget::doAction(name);
    }

protected:
    virtual void press() = 0;
};

class AccessibleButton final : public AccessibleControl
{
public:
    explicit AccessibleButton(DrawnButton *button)
        : AccessibleControl(button, button->accessibleRole()), m_button(button)
    {
    }

    /// Qt makes this object when the button gets its text, before anybody could say what it is.
    [[nodiscard]] QAccessible::Role role() const override { return m_button->accessibleRole(); }
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        const QString text = QAccessibleWidget::text(kind);
        return kind == QAccessible::Name && text.isEmpty() ? m_button->text() : text;
    }
    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = m_button->isCheckable();
        state.checked = m_button->isChecked();
        state.pressed = m_button->isDown();
        return state;
    }

protected:
    void press() override { m_button->click(); }

private:
    DrawnButton *m_button;
};

/// A choice of the form. Qt's own interface names a combo box by its value instead of its label.
class AccessibleChoice final : public AccessibleControl
{
public:
    explicit AccessibleChoice(ChoiceField *choice) : AccessibleControl(choice, QAccessible::ComboBox), m_choice(choice)
    {
    }

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? m_choice->currentText() : QAccessibleWidget::text(kind);
    }

protected:
    void press() override { m_choice->showPopup(); }

private:
    ChoiceField *m_choice;
};

class AccessibleRow final : public AccessibleControl
{
public:
    explicit AccessibleRow(LineRowView *row) : AccessibleControl(row, QAccessible::ListItem), m_row(row) {}

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.expandable = true;
        state.expanded = m_row->isExpanded();
        state.collapsed = !m_row->isExpanded();
        return state;
    }
    /// The goal and the events are heard when the row is unfolded, like they are seen.
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        if (kind == QAccessible::Description && m_row->isExpanded())
            return m_row->spokenBody();
        return QAccessibleWidget::text(kind);
    }

protected:
    void press() override { Q_EMIT m_row->clicked(); }

private:
    LineRowView *m_row;
};

QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    if (className == "QWidget"_L1 && widget && widget->isWindow())
        return new QAccessibleWidget(widget, QAccessible::Window); // and not the filler that Qt takes it for
    if (auto *row = qobject_cast<LineRowView *>(object))
        return new AccessibleRow(row);
    if (auto *button = qobject_cast<DrawnButton *>(object))
        return new AccessibleButton(button);
    if (auto *choice = qobject_cast<ChoiceField *>(object))
        return new AccessibleChoice(choice);
    if (auto *card = qobject_cast<ProjectCardView *>(object))
        return new AccessibleDrawing(card, QAccessible::List);
    if (auto *heading = qobject_cast<SectionHeading *>(object))
        return new AccessibleDrawing(heading, QAccessible::Heading);
    if (auto *view = qobject_cast<DrawnView *>(object))
        return new AccessibleDrawing(view, QAccessible::Grouping);
    return nullptr;
}

} // namespace

void installAccessibility()
{
    static const bool isInstalled = (QAccessible::installFactory(makeInterface), true);
    Q_UNUSED(isInstalled)
}
