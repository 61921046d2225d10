#include "Plumtide/views/Accessibility.h"

#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/DrawnView.h"

#include <QAccessibleWidget>
#include <QComboBox>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// What is drawn; without a name of its own it is read out as its texts. Some of it can be pressed.
class AccessibleDrawing final : public QAccessibleWidget
{
public:
    explicit AccessibleDrawing(DrawnView *view) : QAccessibleWidget(view), m_view(view) {}

    /// Qt makes this object before anybody could say what the view is.
    [[nodiscard]] QAccessible::Role role() const override { return m_view->role(); }
    [[nodiscard]] QRect rect() const override
    {
        return m_view->box().toRect().translated(m_view->mapToGlobal(QPoint()));
    }
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        const QString text = QAccessibleWidget::text(kind);
        return kind == QAccessible::Name && text.isEmpty() ? m_view->drawing().spokenText() : text;
    }
    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = role() == QAccessible::RadioButton || role() == QAccessible::CheckBox;
        state.checked = m_view->isMarked();
        state.pressed = m_view->isDown();
        state.expandable = m_view->isExpanded().has_value();
        state.expanded = m_view->isExpanded().value_or(false);
        state.collapsed = state.expandable && !state.expanded;
        return state;
    }
    [[nodiscard]] QStringList actionNames() const override
    {
        const QStringList names = QAccessibleWidget::actionNames();
        return m_view->focusPolicy() == Qt::NoFocus ? names : QStringList{pressAction()} + names;
    }
    void doAction(const QString &name) override
    {
        if (name == pressAction())
            m_view->click();
        else
            QAccessibleWidget::doAction(name);
    }

private:
    DrawnView *m_view;
};

/// A choice of the form. Qt's own interface names a combo box by its value instead of its label.
class AccessibleChoice final : public QAccessibleWidget
{
public:
    explicit AccessibleChoice(QComboBox *choice) : QAccessibleWidget(choice, QAccessible::ComboBox), m_choice(choice) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? m_choice->currentText() : QAccessibleWidget::text(kind);
    }
    [[nodiscard]] QStringList actionNames() const override
    {
        return QStringList{showMenuAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString &name) override
    {
        if (name == showMenuAction())
            m_choice->showPopup();
        else
            QAccessibleWidget::doAction(name);
    }

private:
    QComboBox *m_choice;
};

/// The board, whose children are its items; one that has no widget yet gets it by being asked for.
class AccessibleBoard final : public QAccessibleWidget
{
public:
    explicit AccessibleBoard(BoardView *board) : QAccessibleWidget(board, QAccessible::Pane), m_board(board) {}

    [[nodiscard]] int childCount() const override { return static_cast<int>(m_board->items().size()); }
    [[nodiscard]] QAccessibleInterface *child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        return QAccessible::queryAccessibleInterface(
            m_board->realise(m_board->items()[static_cast<std::size_t>(index)]));
    }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface *child) const override
    {
        return static_cast<int>(m_board->indexOf(qobject_cast<QWidget *>(child->object())));
    }

    /// Rows lie over their cards, and come after them.
    [[nodiscard]] QAccessibleInterface *childAt(int x, int y) const override
    {
        const QPoint place = m_board->mapFromGlobal(QPoint(x, y));
        const std::vector<BoardView::Item> &items = m_board->items();
        const auto at = std::find_if(items.rbegin(), items.rend(),
                                     [&](const BoardView::Item &item) { return item.box.contains(place); });
        return at == items.rend() ? nullptr : QAccessible::queryAccessibleInterface(m_board->realise(*at));
    }

private:
    BoardView *m_board;
};

QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    if (className == "QWidget"_L1 && widget && widget->isWindow())
        return new QAccessibleWidget(widget, QAccessible::Window); // and not the filler that Qt takes it for
    if (auto *view = qobject_cast<DrawnView *>(object))
        return new AccessibleDrawing(view);
    if (auto *choice = qobject_cast<QComboBox *>(object))
        return new AccessibleChoice(choice);
    if (auto *board = qobject_cast<BoardView *>(object))
        return new AccessibleBoard(board);
    return nullptr;
}

} // namespace

void installAccessibility()
{
    static const bool isInstalled = (QAccessible::installFactory(makeInterface), true);
    Q_UNUSED(isInstalled)
}
