#include "Plumtide/views/Accessibility.h"

#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/DrawnView.h"

#include <QAccessibleWidget>
#include <QComboBox>

using namespace Qt::StringLiterals;

namespace {

QAccessibleInterface *interfaceOf(BoardView &board, const BoardItem &item)
{
    return QAccessible::queryAccessibleInterface(board.ensureWidget(item));
}

/// A DrawnView. Its name is its texts, unless it has an accessible name.
class AccessibleDrawing final : public QAccessibleWidget
{
public:
    explicit AccessibleDrawing(DrawnView *view) : QAccessibleWidget(view), m_view(view) {}

    /// Not given to the base class, since this object may be created before the view has its role.
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
        state.checkable = m_view->isCheckable();
        state.checked = m_view->isChecked();
        state.pressed = m_view->isDown();
        state.hasPopup = m_view->contextMenuPolicy() == Qt::CustomContextMenu;
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

    /// That of a row is its card.
    [[nodiscard]] QAccessibleInterface *parent() const override
    {
        auto *board = qobject_cast<BoardView *>(m_view->parentWidget());
        const qsizetype index = board ? board->indexOf(m_view) : -1;
        if (index < 0 || board->item(index).kind != BoardItem::Kind::Row)
            return QAccessibleWidget::parent();
        return interfaceOf(*board, board->item(board->item(index).card->itemIndex));
    }

private:
    DrawnView *m_view;
};

/// A choice of the form, named by its label and its value. Qt has only the value for a name, and passes on no text.
class AccessibleChoice final : public QAccessibleWidget
{
public:
    explicit AccessibleChoice(QComboBox *choice) : QAccessibleWidget(choice, QAccessible::ComboBox), m_choice(choice) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        const QString text = QAccessibleWidget::text(kind);
        const bool isOffered = m_choice->currentIndex() >= 0;
        return kind == QAccessible::Name
            ? text + u"："_s + (isOffered ? m_choice->currentText() : m_choice->placeholderText())
            : text;
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

/// The board with its items but the rows, or a card with its rows and its button. It makes the widgets when asked.
class AccessibleItems final : public QAccessibleWidget
{
public:
    AccessibleItems(QWidget *widget, QAccessible::Role role, BoardView *board)
        : QAccessibleWidget(widget, role), m_board(board), m_card(qobject_cast<DrawnView *>(widget))
    {
    }

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        return m_card && kind == QAccessible::Name ? m_card->drawing().spokenText() : QAccessibleWidget::text(kind);
    }
    [[nodiscard]] int childCount() const override { return static_cast<int>(items().size() + buttons().size()); }
    [[nodiscard]] QAccessibleInterface *child(int index) const override
    {
        const QList<qsizetype> items = this->items();
        return index < 0 || index >= items.size()
            ? QAccessible::queryAccessibleInterface(buttons().value(index - items.size()))
            : interfaceOf(*m_board, m_board->item(items.at(index)));
    }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface *child) const override
    {
        auto *widget = qobject_cast<QWidget *>(child->object());
        const qsizetype button = buttons().indexOf(widget);
        return static_cast<int>(button < 0 ? items().indexOf(m_board->indexOf(widget)) : items().size() + button);
    }
    [[nodiscard]] QAccessibleInterface *childAt(int x, int y) const override
    {
        const QPoint place = m_board->mapFromGlobal(QPoint(x, y));
        for (const qsizetype index : items()) {
            if (m_board->item(index).box.contains(place))
                return interfaceOf(*m_board, m_board->item(index));
        }
        return m_card ? QAccessibleWidget::childAt(x, y) : nullptr;
    }

private:
    [[nodiscard]] QList<qsizetype> items() const // by their places in the board's list
    {
        const qsizetype end = m_card ? m_board->indexOf(m_card) : m_board->itemCount();
        QList<qsizetype> items;
        for (qsizetype i = m_card ? end - m_board->rowCount(end) : 0; i < end; ++i) {
            if (m_card || m_board->item(i).kind != BoardItem::Kind::Row)
                items.append(i);
        }
        return items;
    }
    [[nodiscard]] QList<QWidget *> buttons() const { return m_card ? m_card->controls() : QList<QWidget *>(); }

    BoardView *m_board;
    DrawnView *m_card; // null: it is the board
};

QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    if (className == "QWidget"_L1 && widget && widget->isWindow())
        return new QAccessibleWidget(widget, QAccessible::Window); // for Qt it is a filler
    if (auto *view = qobject_cast<DrawnView *>(object)) {
        auto *board = qobject_cast<BoardView *>(view->parentWidget());
        if (board && view->role() == QAccessible::List)
            return new AccessibleItems(view, view->role(), board);
        return new AccessibleDrawing(view);
    }
    if (auto *choice = qobject_cast<QComboBox *>(object))
        return new AccessibleChoice(choice);
    if (auto *board = qobject_cast<BoardView *>(object))
        return new AccessibleItems(board, QAccessible::Pane, board);
    return nullptr;
}

} // namespace

void installAccessibility()
{
    [[maybe_unused]] static const bool isInstalled = (QAccessible::installFactory(makeInterface), true);
}

void announce(QWidget &widget, const QString &sentence)
{
    if (!QAccessible::isActive() || sentence.isEmpty())
        return;
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    QAccessibleAnnouncementEvent event(&widget, sentence);
#else // Qt 6.4 passes on neither an alert event nor a change to expanded, but it does that the panel's alert is shown.
    QWidget *const alert = widget.window()->findChild<QWidget *>(u"alert"_s);
    if (!alert)
        return;
    alert->setAccessibleName(sentence);
    QAccessibleEvent event(alert, QAccessible::ObjectShow);
#endif
    QAccessible::updateAccessibility(&event);
}
