#include "Plumtide/views/PanelView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/BoardScroll.h"
#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/PanelFooter.h"
#include "Plumtide/views/PanelHeader.h"
#include "Plumtide/views/Refresher.h"
#include "Plumtide/views/TaskEditView.h"
#include "Plumtide/views/Theme.h"

#include <QApplication>
#include <QHash>
#include <QKeyEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int ruleHeight = 1;

} // namespace

PanelView::PanelView(TaskStore &store, HooksInstaller &installer, Clock clock, QWidget *parent)
    : QWidget(parent),
      m_store(store),
      m_clock(std::move(clock)),
      m_header(new PanelHeader(store, this)),
      m_scroll(new BoardScroll(this)),
      m_board(new BoardView(store, installer, m_scroll)),
      m_footer(new PanelFooter(this)),
      m_refresher(new Refresher(this, [this] { refresh(); }))
{
    Theme::setPalette();
    setObjectName(u"panel"_s);
    setAccessibleName(u"Plumtide"_s);
    setFixedSize(fixedSize);
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_scroll->setWidget(m_board);
    connect(&store, &TaskStore::objectWillChange, m_refresher, &Refresher::markStale);
    connect(&installer, &HooksInstaller::objectWillChange, m_refresher, &Refresher::markStale);
    connect(m_header, &PanelHeader::registerRequested, this, [this] { edit(std::nullopt); });
    connect(m_board, &BoardView::editRequested, this, &PanelView::edit);
    connect(m_footer, &PanelFooter::miniBoardSwitched, this, &PanelView::miniBoardSwitched);
    connect(m_footer, &PanelFooter::quitRequested, this, &PanelView::quitRequested);
    layOut();
}

void PanelView::setMiniBoardOn(bool isOn)
{
    m_footer->setMiniBoardOn(isOn);
}

void PanelView::refresh()
{
    const QList<AgentTask> waiting = m_store.tasks(AgentTaskStatus::waiting);
    if (m_editor)
        m_editor->followLine();
    m_header->refresh(waiting.size(), m_store.tasks(AgentTaskStatus::running).size(), m_store.idleLineCount());
    m_board->refresh(waiting, m_clock());
}

void PanelView::layOut()
{
    const int headerHeight = m_header->layOut(width());
    const int footerHeight = m_footer->layOut(width());
    m_header->setGeometry(0, 0, width(), headerHeight);
    m_footer->setGeometry(0, height() - footerHeight, width(), footerHeight);
    const int top = headerHeight + ruleHeight;
    m_scroll->setGeometry(0, top, width(), height() - footerHeight - ruleHeight - top);
    m_board->layOut(width());
}

void PanelView::edit(const std::optional<AgentTask> &task)
{
    closeEditor();
    m_openedBy = QApplication::focusWidget();
    setFocus(Qt::OtherFocusReason); // from what is about to be hidden
    m_editor = new TaskEditView(m_store, task, m_clock, this);
    connect(m_editor, &TaskEditView::closed, this, &PanelView::closeEditor);
    m_editor->setGeometry(rect());
    m_editor->layOut(width());
    for (QWidget *part :
         {static_cast<QWidget *>(m_header), static_cast<QWidget *>(m_scroll), static_cast<QWidget *>(m_footer)})
        part->hide();
    m_editor->show();
    m_editor->focusLastField();
    update();
}

void PanelView::closeEditor()
{
    if (!m_editor)
        return;
    TaskEditView *editor = std::exchange(m_editor, nullptr);
    setFocus(Qt::OtherFocusReason);
    editor->hide();
    editor->deleteLater(); // one of its buttons is being pressed
    for (QWidget *part :
         {static_cast<QWidget *>(m_header), static_cast<QWidget *>(m_scroll), static_cast<QWidget *>(m_footer)})
        part->show();
    QWidget *back = m_openedBy && isAncestorOf(m_openedBy) && m_openedBy->isVisible() ? m_openedBy : this;
    back->setFocus(Qt::ActiveWindowFocusReason); // the ring shows if it did before
    update();
}

// The panel itself gets the focus when it is opened, and by clicks beside all controls.
void PanelView::focusInEvent(QFocusEvent *event)
{
    if (m_editor)
        m_editor->focusLastField();
    else
        QWidget::focusInEvent(event);
}

void PanelView::showEvent(QShowEvent *event)
{
    Theme::checkFonts();
    QWidget::showEvent(event);
}

void PanelView::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.fillRect(event->rect(), Theme::bg);
    if (m_editor)
        return;
    painter.fillRect(0, m_header->height(), width(), ruleHeight, Theme::border);
    painter.fillRect(0, m_footer->y() - ruleHeight, width(), ruleHeight, Theme::border);
}

QList<QWidget *> PanelView::tabOrder() const
{
    if (m_editor)
        return m_editor->tabOrder();
    const auto controls = [](const QWidget *part) {
        QList<QWidget *> found = part->findChildren<QWidget *>();
        found.removeIf(
            [](const QWidget *widget) { return !(widget->focusPolicy() & Qt::TabFocus) || !widget->isEnabled(); });
        return found;
    };
    return controls(m_header) + m_board->tabOrder() + controls(m_footer);
}

// Widgets are made in the order in which lines arrive; the focus goes in the order in which they stand.
bool PanelView::focusNextPrevChild(bool next)
{
    const QList<QWidget *> controls = tabOrder();
    if (controls.isEmpty())
        return false;
    QWidget *from = QApplication::focusWidget();
    const qsizetype at = controls.indexOf(from);
    const qsizetype step = next ? 1 : -1;
    const qsizetype start = at < 0 ? (next ? -1 : controls.size()) : at;
    QWidget *wanted = controls.at((start + step + controls.size()) % controls.size());
    if (at < 0 && from && from != this && isAncestorOf(from)) {
        // Qt asks when the control has been hidden or switched off. The nearest one that stays, below it if there is
        // one.
        const auto isBefore = [this, place = from->mapTo(this, QPoint())](const QWidget *control) {
            const QPoint there = control->mapTo(this, QPoint());
            return std::pair(there.y(), there.x()) < std::pair(place.y(), place.x());
        };
        const auto after = std::ranges::find_if_not(controls, isBefore);
        wanted = after == controls.end() ? controls.last() : *after;
    }
    wanted->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    if (m_board->isAncestorOf(wanted))
        m_scroll->ensureWidgetVisible(wanted, 0, 20);
    return true;
}

void PanelView::keyPressEvent(QKeyEvent *event)
{
    static const QHash<int, QAbstractSlider::SliderAction> actions{
        {Qt::Key_Up, QAbstractSlider::SliderSingleStepSub},   {Qt::Key_Down, QAbstractSlider::SliderSingleStepAdd},
        {Qt::Key_PageUp, QAbstractSlider::SliderPageStepSub}, {Qt::Key_PageDown, QAbstractSlider::SliderPageStepAdd},
        {Qt::Key_Home, QAbstractSlider::SliderToMinimum},     {Qt::Key_End, QAbstractSlider::SliderToMaximum}};
    const auto action = actions.constFind(event->key());
    if (m_editor || action == actions.constEnd())
        QWidget::keyPressEvent(event);
    else
        m_scroll->verticalScrollBar()->triggerAction(*action);
}
