#include "Plumtide/views/TaskEditView.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/FormFields.h"
#include "Plumtide/views/HStack.h"

#include <QKeyEvent>
#include <QUuid>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr double formPadding = 14;
constexpr double formGap = 12;
constexpr double formLabelGap = 4;
constexpr double columnGap = 10;
constexpr double choiceWidth = 104;
constexpr double fieldHeight = 24;

constexpr TextStyle formHeadingStyle{14, QFont::DemiBold, Theme::text};
constexpr TextStyle formLabelStyle{11, QFont::Medium, Theme::secondary};
const Drawing::ButtonLook cancelLook{.style = {12, QFont::Normal, Theme::secondary}};
const Drawing::ButtonLook saveLook{
    .style = {12, QFont::DemiBold, Theme::onAccent}, .paddingY = 7, .fill = Theme::accent, .radius = 8};
constexpr double disabledSaveOpacity = 0.4;

constexpr std::array offeredStatuses{AgentTaskStatus::waiting, AgentTaskStatus::running};

/// Without the spaces (Unicode category Zs) and tabs at both ends; line breaks stay.
QString trimmed(const QString &text)
{
    const auto isSpace = [](QChar c) { return c == u'\t' || c.category() == QChar::Separator_Space; };
    const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
    const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isSpace).base();
    return QString(first, last - first);
}

QString statusLabel(AgentTaskStatus status)
{
    switch (status) {
    case AgentTaskStatus::waiting: return u"待处理"_s;
    case AgentTaskStatus::running: return u"进行中"_s;
    case AgentTaskStatus::shelved: return u"已搁置"_s;
    case AgentTaskStatus::done: return u"已完成"_s;
    }
    Q_UNREACHABLE();
}

} // namespace

TaskEditView::TaskEditView(TaskStore &store, const std::optional<AgentTask> &editing, Clock clock, QWidget *parent)
    : DrawnView(QAccessible::Grouping, parent),
      m_store(store),
      m_editing(editing),
      m_clock(std::move(clock)),
      m_title(makeInput(u"输入任务名称"_s)),
      m_project(makeInput(u"项目或仓库名称"_s)),
      m_source(new FormChoice(this)),
      m_status(new FormChoice(this)),
      m_purpose(makeInput(u"例如：完成后可以合并代码"_s)),
      m_currentState(makeInput(u"当前进展（可选）"_s)),
      m_waitingReason(makeInput(u"需要你做什么（可选）"_s)),
      m_fields{{u"标题"_s, m_title},
               {u"项目"_s, m_project},
               {u"来源"_s, m_source, false},
               {u"状态"_s, m_status},
               {u"目标（一句话）"_s, m_purpose},
               {u"当前状态"_s, m_currentState},
               {u"等待原因"_s, m_waitingReason}}
{
    setStyleSheet(formFieldStyle());
    for (const Field &field : m_fields)
        field.control->setAccessibleName(field.label);
    QPalette palette;
    palette.setColor(QPalette::PlaceholderText, Theme::text); // a status that is not offered is one all the same
    m_status->setPalette(palette);
    for (const TaskSource source : allTaskSources)
        m_source->addItem(label(source));
    for (const AgentTaskStatus status : offeredStatuses)
        m_status->addItem(statusLabel(status));
    m_source->setCurrentIndex(static_cast<int>(TaskSource::other));
    m_status->setCurrentIndex(0);
    fill();
    connect(m_source, &QComboBox::activated, this, [this] { m_hasChosenSource = true; });
    connect(m_status, &QComboBox::activated, this, [this] { m_hasChosenStatus = true; });
    connect(m_status, &QComboBox::currentIndexChanged, this, &TaskEditView::layOut);
    connect(this, &DrawnView::activated, this, [this](const Command &command) {
        if (command == Command(FormCommand::Save))
            save();
        else
            Q_EMIT closed();
    });
}

QLineEdit *TaskEditView::makeInput(const QString &placeholder)
{
    auto *input = new FormInput(placeholder, this);
    connect(input, &QLineEdit::textChanged, this, &TaskEditView::layOut);
    connect(input, &QLineEdit::returnPressed, this, [this] {
        if (canSave())
            save();
    });
    return input;
}

void TaskEditView::fill()
{
    if (!m_editing)
        return;
    fill(m_title, m_editing->title);
    fill(m_project, m_editing->project);
    fill(m_purpose, m_editing->purpose);
    fill(m_currentState, m_editing->currentState);
    fill(m_waitingReason, m_editing->waitingReason.value_or(QString()));
    if (!m_hasChosenSource)
        m_source->setCurrentIndex(static_cast<int>(m_editing->source));
    if (m_hasChosenStatus)
        return;
    const QString status = statusLabel(m_editing->status);
    m_status->setPlaceholderText(status); // while no offered one is chosen
    m_status->setCurrentIndex(m_status->findText(status));
}

void TaskEditView::fill(QLineEdit *input, const QString &text)
{
    if (input->isModified())
        return;
    QString shown = text; // a field of one line has no line breaks
    shown.replace(lineBreaks(), u" "_s);
    if (input->text() != shown) {
        input->setText(shown);
        input->setCursorPosition(0); // from its beginning
    }
}

void TaskEditView::followLine()
{
    const std::optional<AgentTask> line = m_editing ? m_store.task(m_editing->id) : std::nullopt;
    if (line && line != m_editing) {
        m_editing = line;
        fill();
    }
}

bool TaskEditView::canSave() const
{
    return !trimmed(m_title->text()).isEmpty();
}

void TaskEditView::save()
{
    followLine();
    AgentTask task = m_editing.value_or(AgentTask{});
    // A text that was not touched keeps what a field of one line cannot show: its line breaks.
    const auto written = [](const QLineEdit *input, const QString &before) {
        return trimmed(input->isModified() ? input->text() : before);
    };
    const QString title = written(m_title, task.title);
    if (!m_editing)
        task.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    if (m_editing && title != m_editing->title)
        task.titleEdited = true;
    task.title = title;
    task.project = written(m_project, task.project);
    task.source = allTaskSources[static_cast<size_t>(m_source->currentIndex())];
    if (m_status->currentIndex() >= 0)
        task.status = offeredStatuses[static_cast<size_t>(m_status->currentIndex())];
    task.purpose = written(m_purpose, task.purpose);
    task.currentState = written(m_currentState, task.currentState);
    const QString reason = written(m_waitingReason, task.waitingReason.value_or(QString()));
    const bool isWaiting = task.status == AgentTaskStatus::waiting;
    task.waitingReason = isWaiting && !reason.isEmpty() ? std::optional(reason) : std::nullopt;
    if (!isWaiting)
        task.needsApproval.reset();
    task.updatedAt = m_clock();
    m_store.upsert(std::move(task));
    Q_EMIT closed();
}

void TaskEditView::layOut()
{
    const bool isWaiting = m_status->currentIndex() == 0;
    m_waitingReason->setVisible(isWaiting);
    Drawing drawing;
    const double inside = width() - 2 * formPadding;
    HStack heading(0);
    heading.text(m_editing ? u"编辑任务"_s : u"登记任务"_s, formHeadingStyle);
    heading.spacer();
    heading.button({.command = FormCommand::Cancel, .text = u"取消"_s, .look = cancelLook});
    double y = heading.place(drawing, {formPadding, formPadding}, inside).bottom() + formGap;
    for (qsizetype i = 0; i < m_fields.size(); ++i) {
        const Field &field = m_fields.at(i);
        if (field.control == m_waitingReason && !isWaiting)
            continue;
        const bool sharesRow = i + 1 < m_fields.size() && !m_fields.at(i + 1).isInOwnRow;
        const bool isChoice = qobject_cast<QComboBox *>(field.control) != nullptr;
        const double left = field.isInOwnRow ? formPadding : formPadding + inside - choiceWidth;
        const double room = isChoice ? choiceWidth : inside - (sharesRow ? choiceWidth + columnGap : 0);
        const double top = drawing.addText({left, y}, layText(field.label, formLabelStyle, room)) + formLabelGap;
        field.control->setGeometry(QRectF(left, top, room, fieldHeight).toAlignedRect());
        if (!sharesRow)
            y = top + fieldHeight + formGap;
    }
    Drawing::Button save{.command = FormCommand::Save, .text = m_editing ? u"保存"_s : u"登记"_s, .look = saveLook};
    save.isEnabled = canSave();
    if (!save.isEnabled)
        save.look.fill = Theme::faded(Theme::secondary, disabledSaveOpacity);
    drawing.addButton(save, {formPadding, y}, composeButton(save, inside));
    setDrawing(std::move(drawing));
}

void TaskEditView::resizeEvent(QResizeEvent * /*event*/)
{
    setContentRect(geometry());
    layOut();
}

bool TaskEditView::isTouched() const
{
    return m_hasChosenSource || m_hasChosenStatus
        || std::ranges::any_of(findChildren<QLineEdit *>(), &QLineEdit::isModified);
}

void TaskEditView::focusLastField()
{
    QWidget *last = focusWidget();
    (last && last->isVisible() ? last : m_title)->setFocus(Qt::OtherFocusReason);
}

QList<QWidget *> TaskEditView::tabOrder()
{
    QList<QWidget *> order;
    for (const Field &field : m_fields)
        order.append(field.control);
    const QList<QWidget *> buttons = controls(); // "取消" first
    order += buttons.sliced(1) + buttons.first(1);
    order.removeIf([](const QWidget *control) { return control->isHidden(); });
    return order;
}

void TaskEditView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        Q_EMIT closed();
    else
        DrawnView::keyPressEvent(event);
}
