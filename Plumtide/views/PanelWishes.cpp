#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/BoardScroll.h"
#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/LineMenu.h"
#include "Plumtide/views/PanelView.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHash>
#include <QKeyEvent>
#include <QScrollBar>

using namespace Qt::StringLiterals;

// What PanelView does for its user.

void PanelView::act(const QString &wish, const QString &id)
{
    const std::optional<AgentTask> line = m_store.task(id);
    const bool isShelved = line && line->status == AgentTaskStatus::shelved;
    if (wish == u"register") {
        edit(std::nullopt);
    } else if (wish == u"switch") {
        setMiniBoardOn(!m_isMiniBoardOn);
        Q_EMIT miniBoardSwitched(m_isMiniBoardOn);
    } else if (wish == u"quit") {
        Q_EMIT quitRequested();
    } else if (wish == LineMenu::undo) {
        m_store.undo();
    } else if (wish == u"all" || PanelHeader::filterOf(wish)) {
        m_store.setSourceFilter(PanelHeader::filterOf(wish));
    } else if (line && wish == u"copy") {
        QGuiApplication::clipboard()->setText(line->title);
    } else if (line && wish == u"edit") {
        edit(line);
    } else if (line && (wish == u"shelve" || (wish == u"resume" && isShelved))) {
        m_store.setStatus(id, isShelved ? AgentTaskStatus::waiting : AgentTaskStatus::shelved);
    } else if (line && wish == u"close") {
        m_store.setStatus(id, AgentTaskStatus::done);
    } else if (line && wish == LineMenu::session) {
        Q_EMIT sessionRequested(id);
    }
}

void PanelView::keyPressEvent(QKeyEvent *event)
{
    static const QHash<int, QAbstractSlider::SliderAction> actions{
        {Qt::Key_Up, QAbstractSlider::SliderSingleStepSub},   {Qt::Key_Down, QAbstractSlider::SliderSingleStepAdd},
        {Qt::Key_PageUp, QAbstractSlider::SliderPageStepSub}, {Qt::Key_PageDown, QAbstractSlider::SliderPageStepAdd},
        {Qt::Key_Home, QAbstractSlider::SliderToMinimum},     {Qt::Key_End, QAbstractSlider::SliderToMaximum}};
    static const QHash<QKeyCombination, QString> wishes{
        {Qt::Key_1, u"all"_s},   {Qt::Key_2, u"claude"_s},   {Qt::Key_3, u"codex"_s},
        {Qt::Key_4, u"other"_s}, {Qt::Key_N, u"register"_s}, {Qt::CTRL | Qt::Key_Z, LineMenu::undo}};
    constexpr int stepsAKey = 3; // as many as a wheel's
    QWidget *from = QApplication::focusWidget();
    if (event->keyCombination() == (Qt::SHIFT | Qt::Key_F10) && from) { // Qt opens menus by the Menu key alone
        const QPoint at = from->inputMethodQuery(Qt::ImCursorRectangle).toRect().center();
        QContextMenuEvent menu(QContextMenuEvent::Keyboard, at, from->mapToGlobal(at));
        QCoreApplication::sendEvent(from, &menu);
        return;
    }
    if (const QString wish = m_editor ? QString() : wishes.value(event->keyCombination()); !wish.isEmpty()) {
        const QString done = wish == LineMenu::undo ? LineMenu::undoText(m_store) : QString();
        act(wish, {});
        if (!done.isEmpty())
            tell(u"已"_s + done + u"。"_s);
        return;
    }
    const auto action = actions.constFind(event->key());
    if (m_editor || action == actions.constEnd()) {
        QWidget::keyPressEvent(event);
        return;
    }
    const bool isAtRow = from && from->parentWidget() == m_board;
    const bool isStep = event->key() == Qt::Key_Up || event->key() == Qt::Key_Down;
    if (QWidget *row = isAtRow && isStep
            ? m_board->controlAfter(from, event->key() == Qt::Key_Down, BoardView::FocusScope::Rows)
            : nullptr)
        focusOn(row, Qt::TabFocusReason);
    else
        for (int step = 0; step < (isStep ? stepsAKey : 1); ++step)
            m_scroll->verticalScrollBar()->triggerAction(*action);
}
