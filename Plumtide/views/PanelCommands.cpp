#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/BoardScroll.h"
#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/DrawnView.h"
#include "Plumtide/views/PanelView.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QScrollBar>
#include <QShortcut>

#include <algorithm>
#include <array>

// The commands and keys of PanelView.

void PanelView::run(const Command &command)
{
    std::visit(Overloaded{
                   [this](const LineCommand &onLine) {
                       if (perform(onLine, m_store))
                           return;
                       if (onLine.action == LineAction::Edit)
                           edit(m_store.task(onLine.line));
                       else
                           Q_EMIT sessionRequested(onLine.line);
                   },
                   [this](const ToggleFold &fold) { m_board->toggleFold(fold.project); },
                   [this](const FilterLines &filter) { m_store.setSourceFilter(filter.source); },
                   [this](PanelCommand panel) {
                       switch (panel) {
                       case PanelCommand::Register: edit(std::nullopt); break;
                       case PanelCommand::EndMute: m_store.notifications().setMutedUntil({}); break;
                       case PanelCommand::SwitchMiniBoard:
                           setMiniBoardOn(!m_isMiniBoardOn);
                           Q_EMIT miniBoardSwitched(m_isMiniBoardOn);
                           break;
                       case PanelCommand::ConnectClaude: m_installer.installClaude(); break;
                       case PanelCommand::ConnectCodex: m_installer.installCodex(); break;
                       case PanelCommand::Quit: Q_EMIT quitRequested(); break;
                       }
                   },
               },
               command);
}

// They belong to the header, so that they do nothing while the form is shown.
void PanelView::addKeys()
{
    const auto add = [this](int key, const Command &command) {
        auto *shortcut = new QShortcut(QKeySequence(key), m_header, [this, command] { run(command); });
        shortcut->setAutoRepeat(false);
    };
    add(Qt::Key_1, FilterLines{});
    for (const TaskSource source : allTaskSources)
        add(Qt::Key_2 + static_cast<int>(source), FilterLines{source});
    add(Qt::Key_N, PanelCommand::Register);
    m_undo->setShortcut(QKeySequence::Undo);
    m_header->addAction(m_undo);
}

void PanelView::keyPressEvent(QKeyEvent *event)
{
    constexpr std::array scrolling{Qt::Key_Up,       Qt::Key_Down, Qt::Key_PageUp,
                                   Qt::Key_PageDown, Qt::Key_Home, Qt::Key_End};
    constexpr int stepsAKey = 3; // as many as a wheel's
    QWidget *from = QApplication::focusWidget();
    if (event->keyCombination() == (Qt::SHIFT | Qt::Key_F10) && from) { // Qt opens menus by the Menu key alone
        const QPoint at = from->inputMethodQuery(Qt::ImCursorRectangle).toRect().center();
        QContextMenuEvent menu(QContextMenuEvent::Keyboard, at, from->mapToGlobal(at));
        QCoreApplication::sendEvent(from, &menu);
        return;
    }
    if (m_editor || std::ranges::count(scrolling, event->key()) == 0) {
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
            QCoreApplication::sendEvent(m_scroll->verticalScrollBar(), event);
}
