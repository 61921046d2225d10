#include "Plumtide/views/TaskEditView.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/FormFields.h"
#include "Plumtide/views/HStack.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QShortcut>
#include <QUuid>
#include <QVBoxLayout>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr int headingHeight = 20;
constexpr int formRowGap = 12;
constexpr int formLabelGap = 4;
constexpr int formColumnGap = 10;
constexpr int choiceWidth = 104;
constexpr int fieldHeight = 24;
constexpr int saveHeight = 31;

constexpr std::array offeredStatuses{AgentTaskStatus::waiting, AgentTaskStatus::running};

// Line breaks at the ends stay.
QString withoutSpacesAtEnds(QString text)
{
    static const QRegularExpression spaces(u"\\A[\\t\\p{Zs}]+|[\\t\\p{Zs}]+\\z"_s);
    return text.remove(spaces);
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
    : QGroupBox(editing ? u"编辑任务"_s : u"登记任务"_s, parent),
      m_store(store),
      m_editing(editing),
      m_clock(std::move(clock)),
      m_cancel(new QPushButton(u"取消"_s, this)),
      m_save(new QPushButton(editing ? u"保存"_s : u"登记"_s, this)),
      m_title(makeInput(u"输入任务名称"_s)),
      m_project(makeInput(u"项目或仓库名称"_s)),
      m_source(new FormChoice(this)),
      m_status(new FormChoice(this)),
      m_purpose(makeInput(u"例如：完成后可以合并代码"_s)),
      m_currentState(makeInput(u"当前进展（可选）"_s)),
      m_waitingReason(makeInput(u"需要你做什么（可选）"_s))
{
    translateInputMenus();
    setFont(Theme::widgetFont({12, QFont::Normal, Theme::text}));
    setStyleSheet(formStyle());
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins({});
    grid->setHorizontalSpacing(formColumnGap);
    grid->setVerticalSpacing(formRowGap);
    grid->setRowMinimumHeight(0, headingHeight);
    grid->addWidget(m_cancel, 0, 1, Qt::AlignRight | Qt::AlignVCenter);
    const auto add = [&](const QString &text, QWidget *field, int row, int column, int columns) {
        auto *label = new QLabel(text, this);
        label->setBuddy(field);
        label->stackUnder(field); // a screen reader comes to the label first
        field->setFixedHeight(fieldHeight);
        auto *cell = new QVBoxLayout;
        cell->setSpacing(formLabelGap);
        cell->addWidget(label);
        cell->addWidget(field);
        grid->addLayout(cell, row, column, 1, columns);
        return label;
    };
    add(u"标题"_s, m_title, 1, 0, 2);
    add(u"项目"_s, m_project, 2, 0, 1);
    add(u"来源"_s, m_source, 2, 1, 1);
    add(u"状态"_s, m_status, 3, 0, 2);
    add(u"目标（一句话）"_s, m_purpose, 4, 0, 2);
    add(u"当前状态"_s, m_currentState, 5, 0, 2);
    QLabel *waitingReasonLabel = add(u"等待原因"_s, m_waitingReason, 6, 0, 2);
    grid->addWidget(m_save, 7, 0, 1, 2);
    grid->setRowStretch(8, 1);

    for (QPushButton *button : {m_cancel, m_save}) {
        button->setAutoDefault(true); // Return presses it, too
        button->setCursor(Qt::PointingHandCursor);
    }
    m_save->setObjectName(u"save"_s); // in the style sheet
    m_save->setFixedHeight(saveHeight);
    m_save->setEnabled(false);
    for (QComboBox *choice : {m_source, m_status})
        choice->setFixedWidth(choiceWidth);
    for (const TaskSource source : allTaskSources)
        m_source->addItem(label(source));
    for (const AgentTaskStatus status : offeredStatuses)
        m_status->addItem(statusLabel(status));
    QPalette palette;
    palette.setColor(QPalette::PlaceholderText, Theme::text); // of a status that is not offered
    m_status->setPalette(palette);
    m_source->setCurrentIndex(static_cast<int>(TaskSource::other));

    connect(m_title, &QLineEdit::textChanged, m_save,
            [this](const QString &text) { m_save->setEnabled(!withoutSpacesAtEnds(text).isEmpty()); });
    connect(m_status, &QComboBox::currentIndexChanged, this, [this, waitingReasonLabel](int index) {
        waitingReasonLabel->setVisible(index == 0);
        m_waitingReason->setVisible(index == 0);
    });
    connect(m_source, &QComboBox::activated, this, [this] { m_hasChosenSource = true; });
    connect(m_status, &QComboBox::activated, this, [this] { m_hasChosenStatus = true; });
    connect(m_save, &QPushButton::clicked, this, &TaskEditView::save);
    connect(m_cancel, &QPushButton::clicked, this, &TaskEditView::closed);
    new QShortcut(Qt::Key_Escape, this, this, &TaskEditView::closed, Qt::WidgetWithChildrenShortcut);
    fill();
}

QLineEdit *TaskEditView::makeInput(const QString &placeholder)
{
    auto *input = new QLineEdit(this);
    input->setPlaceholderText(placeholder);
    connect(input, &QLineEdit::returnPressed, m_save, &QPushButton::click);
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
    m_status->setPlaceholderText(status); // for one that is not offered
    m_status->setCurrentIndex(m_status->findText(status));
}

void TaskEditView::fill(QLineEdit *input, const QString &text)
{
    if (input->isModified())
        return;
    const QString shown = QString(text).replace(lineBreaks(), u" "_s);
    if (input->text() != shown) {
        input->setText(shown);
        input->setCursorPosition(0); // so that the beginning is shown
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

void TaskEditView::save()
{
    followLine();
    AgentTask task = m_editing.value_or(AgentTask{});
    // A text that the user has not changed keeps its line breaks, which the field does not show.
    const auto written = [](const QLineEdit *input, const QString &before) {
        return withoutSpacesAtEnds(input->isModified() ? input->text() : before);
    };
    task.title = written(m_title, task.title);
    if (!m_editing)
        task.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    else if (task.title != m_editing->title)
        task.titleEdited = true;
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
    QList<QWidget *> order{m_title,        m_project,       m_source, m_status, m_purpose,
                           m_currentState, m_waitingReason, m_save,   m_cancel};
    order.removeIf([](const QWidget *control) { return control->isHidden() || !control->isEnabled(); });
    return order;
}
