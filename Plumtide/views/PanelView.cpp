#include "Plumtide/views/PanelView.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/Accessibility.h"
#include "Plumtide/views/BoardScroll.h"
#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/DrawnView.h"
#include "Plumtide/views/Refresher.h"
#include "Plumtide/views/TaskEditView.h"

#include <QApplication>
#include <QMenu>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int edgeWidth = 1;
constexpr int ruleHeight = 1;
constexpr int focusMargin = 20;   // above and below what gets the focus
constexpr int unfoldedMargin = 6; // and a row that is unfolded
constexpr int messagePadding = 14;
constexpr std::chrono::seconds messageTime{4};

} // namespace

PanelView::PanelView(TaskStore &store, HooksInstaller &installer, Clock clock)
    : m_store(store),
      m_installer(installer),
      m_clock(std::move(clock)),
      m_urgent(store.urgentCount()),
      m_undo(new UndoAction(store, this)),
      m_header(new DrawnView(QAccessible::Grouping, this)),
      m_scroll(new BoardScroll(this)),
      m_board(new BoardView(store, installer, fixedSize.width() - 2 * edgeWidth, m_scroll)),
      m_footer(new DrawnView(QAccessible::Grouping, this)),
      m_message(new DrawnView(QAccessible::AlertMessage, this))
{
    setObjectName(u"panel"_s);
    setAccessibleName(u"Plumtide"_s);
    setFixedSize(fixedSize);
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_message->setObjectName(u"alert"_s);
    updateHeader();
    m_header->setContentRect({{0, 0}, m_header->drawing().size});
    addKeys();
    setMiniBoardOn(false);
    const int footerHeight = static_cast<int>(m_footer->drawing().size.height());
    m_footer->setContentRect(QRectF(0, height() - footerHeight, width(), footerHeight));
    setMessageVisible(false);
    m_scroll->setWidget(m_board);
    m_messageTimer.setSingleShot(true);
    connect(&m_messageTimer, &QTimer::timeout, this, [this] { setMessageVisible(false); });

    connect(m_undo, &UndoAction::undone, this, [this](const QString &what) { showMessage(u"已"_s + what + u"。"_s); });
    auto *refresher = new Refresher(this, [this] { refresh(); });
    connect(&store, &TaskStore::objectWillChange, refresher, &Refresher::markStale);
    connect(&installer, &HooksInstaller::objectWillChange, refresher, &Refresher::markStale);
    connect(&store.notifications(), &NotificationFilter::mutedUntilChanged, refresher, &Refresher::markStale);
    for (DrawnView *view : {m_header, m_footer})
        connect(view, &DrawnView::activated, this, &PanelView::run);
    connect(m_board, &BoardView::activated, this, &PanelView::run);
    connect(m_board, &BoardView::menuRequested, this, [this](const QString &id, QPoint place) {
        showLineMenu(*this, m_store, id, place, true, [this](const LineCommand &command) { run(command); });
    });
    connect(m_board, &BoardView::sectionMenuRequested, this, [this](ProjectSection section, QPoint place) {
        auto *menu = new QMenu(this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->addAction(u"归档全部已回复"_s, this, [this, section] { m_store.archiveReplied(section); });
        menu->popup(place);
    });
    connect(m_board, &BoardView::heightChanged, this, [this](const QString &unfolding) {
        keepInPlace([this] { m_board->layOut(); });
        if (unfolding == m_board->expandedID())
            bringIntoView(unfolding);
    });
    connect(m_scroll->verticalScrollBar(), &QScrollBar::valueChanged, m_board, &BoardView::updateVisibleWidgets);
}

void PanelView::setMiniBoardOn(bool isOn)
{
    m_isMiniBoardOn = isOn;
    updateFooter();
}

void PanelView::updateHeader()
{
    const PanelHeader header{m_store.sourceFilter(), m_store.lineCount(AgentTaskStatus::waiting),
                             m_store.lineCount(AgentTaskStatus::running), m_store.idleLineCount()};
    if (std::exchange(m_shownHeader, header) != header)
        m_header->setDrawing(header.compose(width()));
}

void PanelView::updateFooter()
{
    const PanelFooter footer{m_isMiniBoardOn, PanelFooter::muteText(m_store.notifications().mutedUntil(), m_clock())};
    if (std::exchange(m_shownFooter, footer) != footer)
        m_footer->setDrawing(footer.compose(width()));
}

void PanelView::refresh()
{
    if (m_editor)
        m_editor->followLine();
    updateHeader();
    updateFooter();
    m_undo->updateText();
    keepInPlace([this] { m_board->refresh(m_clock()); });
    if (const int urgent = m_store.urgentCount(); std::exchange(m_urgent, urgent) < urgent)
        announce(*this, u"%1 条等你处理"_s.arg(urgent));
}

// Scrolls so that the row that is being read stays in its place: the unfolded one, if it is in view, or else the one
// under the pointer.
void PanelView::keepInPlace(const std::function<void()> &change)
{
    QScrollBar *bar = m_scroll->verticalScrollBar();
    const int value = bar->value(); // a shorter board or a moving focus may change it
    const QRect seen(0, value, m_board->width(), m_scroll->height());
    QString id = m_board->expandedID();
    std::optional<QRect> before = m_board->rowRect(id);
    if ((!before || !before->intersects(seen)) && m_board->underMouse()) {
        id = m_board->rowAt(m_board->mapFromGlobal(QCursor::pos()));
        before = m_board->rowRect(id);
    }
    change();
    const std::optional<QRect> after = m_board->rowRect(id);
    if (before && after && before->intersects(seen))
        bar->setValue(value + after->top() - before->top());
}

void PanelView::bringIntoView(const QString &id)
{
    const std::optional<QRect> place = m_board->rowRect(id);
    if (!place)
        return;
    m_scroll->ensureVisible(0, place->bottom(), 0, unfoldedMargin);
    m_scroll->ensureVisible(0, place->top(), 0, unfoldedMargin); // which is more important
}

void PanelView::showLine(const QString &id)
{
    if (m_editor && !m_editor->isTouched())
        closeEditor();
    const std::optional<AgentTask> line = m_store.task(id);
    if (!line)
        return;
    if (m_store.sourceFilter() && m_store.sourceFilter() != line->source)
        m_store.setSourceFilter(std::nullopt);
    updateHeader();
    m_board->refresh(m_clock(), id);
    if (m_board->rowRect(id))
        bringIntoView(id);
    else
        m_scroll->verticalScrollBar()->setValue(0); // it is the next step
}

void PanelView::showParts(bool isShown)
{
    for (QWidget *part : QWidgetList{m_header, m_scroll, m_footer})
        part->setVisible(isShown);
    setMessageVisible(m_messageTimer.isActive());
    update();
}

// Above the board like the installer's message, but it does not scroll.
void PanelView::setMessageVisible(bool isShown)
{
    const int top = m_header->height() + ruleHeight;
    const int room = isShown ? m_message->height() + messagePadding : 0;
    m_message->move(messagePadding, m_editor ? height() - room : top + messagePadding);
    m_message->setVisible(isShown);
    m_message->raise();
    m_scroll->setGeometry(edgeWidth, top + room, width() - 2 * edgeWidth, m_footer->y() - ruleHeight - top - room);
}

void PanelView::showMessage(const QString &sentence)
{
    m_message->setDrawing(OnboardingBanner{.message = sentence}.compose(width() - 2 * messagePadding));
    m_message->setContentRect(QRectF({0, 0}, m_message->drawing().size));
    m_message->setAccessibleName(sentence);
    m_message->hide(); // a screen reader says it when it is shown
    m_messageTimer.start(messageTime);
    setMessageVisible(true);
}

void PanelView::edit(const std::optional<AgentTask> &task)
{
    if (m_editor && m_editor->isTouched()) // the mini board may ask
        return showMessage(u"表单里的内容还没有保存。"_s);
    if (m_editor)
        closeEditor();
    m_openedBy = QApplication::focusWidget();
    m_lostFocusY = yOnBoard(m_openedBy);
    setFocus(Qt::OtherFocusReason); // from what is about to be hidden
    m_editor = new TaskEditView(m_store, task, m_clock, this);
    connect(m_editor, &TaskEditView::closed, this, &PanelView::closeEditor);
    m_editor->setGeometry(rect());
    showParts(false);
    m_editor->show();
    m_editor->focusLastField();
}

void PanelView::closeEditor()
{
    TaskEditView *editor = std::exchange(m_editor, nullptr);
    setFocus(Qt::OtherFocusReason);
    editor->setEnabled(false); // a press that is already queued must not save again
    editor->hide();
    editor->deleteLater(); // one of its buttons is being pressed
    showParts(true);
    QWidget *back = m_openedBy && isAncestorOf(m_openedBy) && m_openedBy->isVisible() ? m_openedBy : this;
    if (back != this)
        m_lostFocusY = -1;
    back->setFocus(Qt::ActiveWindowFocusReason); // the ring shows if it did before
}

// The panel itself gets the focus when it is opened, and by clicks beside all controls.
void PanelView::focusInEvent(QFocusEvent *event)
{
    if (m_editor)
        m_editor->focusLastField();
    else
        QWidget::focusInEvent(event);
}

void PanelView::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.fillRect(event->rect(), Theme::bg);
    painter.setPen(Theme::border);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    if (m_editor)
        return;
    painter.fillRect(0, m_header->height(), width(), ruleHeight, Theme::border);
    painter.fillRect(0, m_footer->y() - ruleHeight, width(), ruleHeight, Theme::border);
}

// In the order header, board, footer, and the header again; or in that of the form.
QWidget *PanelView::controlAfter(QWidget *from, bool next)
{
    const QList<QWidget *> ring =
        m_editor ? m_editor->tabOrder() : m_header->controls() + QList<QWidget *>{m_board} + m_footer->controls();
    const bool isInBoard = from && m_board->isAncestorOf(from);
    if (QWidget *control = isInBoard && !m_editor ? m_board->controlAfter(from, next) : nullptr)
        return control;
    const qsizetype step = next ? 1 : -1;
    qsizetype at = ring.indexOf(isInBoard ? m_board : from);
    for (at = at < 0 && !next ? ring.size() : at;;) {
        at = (at + step + ring.size()) % ring.size();
        if (QWidget *control = ring.at(at) == m_board ? m_board->controlAfter(nullptr, next) : ring.at(at))
            return control;
    }
}

void PanelView::focusOn(QWidget *control, Qt::FocusReason reason)
{
    control->setFocus(reason);
    if (m_board->isAncestorOf(control))
        m_scroll->ensureWidgetVisible(control, 0, focusMargin);
}

int PanelView::yOnBoard(const QWidget *control) const
{
    return m_board->isAncestorOf(control) ? control->mapTo(m_board, QPoint()).y() : -1;
}

bool PanelView::focusNextPrevChild(bool next)
{
    QWidget *from = QApplication::focusWidget();
    const Qt::FocusReason reason = next ? Qt::TabFocusReason : Qt::BacktabFocusReason;
    const int at = from == this ? std::exchange(m_lostFocusY, -1) : yOnBoard(from);
    // Qt also calls this when the control that has the focus is hidden.
    const bool isLost = at >= 0 && !m_editor && (from == this || !from->isVisible());
    QWidget *near = isLost ? m_board->controlNear(at) : nullptr;
    const auto *gone = qobject_cast<DrawnView *>(from);
    if (!near || !gone) {
        focusOn(near ? near : controlAfter(from, next), reason);
        return true;
    }
    const QRect place = gone->rect().translated(gone->mapTo(m_scroll->viewport(), QPoint()));
    if (!gone->showsFocus()) { // a key must not act on a line that the user has not chosen
        m_lostFocusY = at;
        setFocus(Qt::OtherFocusReason);
    } else if (place.intersects(m_scroll->viewport()->rect())) {
        focusOn(near, reason);
    } else { // without scrolling to it: it is out of view
        near->setFocus(reason);
    }
    return true;
}
