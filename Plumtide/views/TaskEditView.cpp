#include "Plumtide/views/TaskEditView.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/DrawnButton.h"
#include "Plumtide/views/FormFields.h"
#include "Plumtide/views/HStack.h"
#include "Plumtide/views/SourceChip.h"

#include <QKeyEvent>
#include <QRegularExpression>
#include <QUuid>

#include <algorithm>
#include <array>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double formPadding = 14;
constexpr double formGap = 12;
constexpr double formLabelGap = 4;
constexpr double columnGap = 10;
constexpr double choiceWidth = 104;

constexpr TextStyle formHeadingStyle{14, QFont::DemiBold, Theme::text};
constexpr TextStyle formLabelStyle{11, QFont::Medium, Theme::secondary};
const DrawnButton::Look cancelLook{.style = {12, QFont::Normal, Theme::secondary}};
const DrawnButton::Look saveLook{.style = {12, QFont::DemiBold, Theme::onAccent},
                                 .paddingY = 7,
                                 .fill = Theme::accent,
                                 .radius = 8,
                                 .fillsWidth = true};
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

QStringList statusLabels()
{
    QStringList labels;
    std::ranges::transform(offeredStatuses, std::back_inserter(labels), statusLabel);
    return labels;
}

QStringList sourceLabels()
{
    QStringList labels;
    std::ranges::transform(allTaskSources, std::back_inserter(labels), &SourceChip::label);
    return labels;
}

} // namespace

TaskEditView::TaskEditView(TaskStore &store, const std::optional<AgentTask> &editing, Clock clock, QWidget *parent)
    : DrawnView(parent),
      m_store(store),
      m_editing(editing),
      m_clock(std::move(clock)),
      m_cancel(new DrawnButton(u"取消"_s, {}, cancelLook, this)),
      m_title(new TextField(u"输入任务名称"_s, this)),
      m_project(new TextField(u"项目或仓库名称"_s, this)),
      m_source(new ChoiceField(sourceLabels(), this)),
      m_status(new ChoiceField(statusLabels(), this)),
      m_purpose(new TextField(u"例如：完成后可以合并代码"_s, this)),
      m_currentState(new TextField(u"当前进展（可选）"_s, this)),
      m_waitingReason(new TextField(u"需要你做什么（可选）"_s, this)),
      m_save(new DrawnButton(editing ? u"保存"_s : u"登记"_s, {}, saveLook, this)),
      m_fields{{"title.label", u"标题"_s, m_title},
               {"project.label", u"项目"_s, m_project},
               {"source.label", u"来源"_s, m_source, false},
               {"status.label", u"状态"_s, m_status},
               {"purpose.label", u"目标（一句话）"_s, m_purpose},
               {"currentState.label", u"当前状态"_s, m_currentState},
               {"waitingReason.label", u"等待原因"_s, m_waitingReason}}
{
    setObjectName(u"form"_s);
    m_cancel->setObjectName(u"form.cancel"_s);
    m_save->setObjectName(u"form.save"_s);
    for (const Field &field : std::as_const(m_fields)) {
        const bool isChoice = field.control == m_source || field.control == m_status;
        const QString name = QLatin1StringView(field.labelName).chopped(".label"_L1.size());
        field.control->setObjectName(u"form.%1.%2"_s.arg(name, isChoice ? u"choice"_s : u"input"_s));
        field.control->setAccessibleName(field.label);
        if (auto *input = qobject_cast<QLineEdit *>(field.control)) {
            connect(input, &QLineEdit::textChanged, this, &TaskEditView::updateState);
            connect(input, &QLineEdit::returnPressed, this, [this] {
                if (canSave())
                    save();
            });
        }
    }
    connect(m_source, &QComboBox::activated, this, [this] { m_hasChosenSource = true; });
    connect(m_status, &QComboBox::activated, this, [this] { m_hasChosenStatus = true; });
    connect(m_status, &QComboBox::currentIndexChanged, this, &TaskEditView::updateState);
    connect(m_cancel, &QAbstractButton::clicked, this, &TaskEditView::closed);
    connect(m_save, &QAbstractButton::clicked, this, &TaskEditView::save);
    m_source->setCurrentIndex(static_cast<int>(TaskSource::other));
    m_status->setCurrentIndex(0);
    fill();
    updateState();
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
    const auto offered = std::ranges::find(offeredStatuses, m_editing->status);
    m_status->setOtherText(statusLabel(m_editing->status));
    m_status->setCurrentIndex(offered == offeredStatuses.end() ? -1
                                                               : static_cast<int>(offered - offeredStatuses.begin()));
    m_status->update();
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
    if (!m_editing)
        return;
    const QList<AgentTask> &lines = m_store.tasks();
    const auto line = std::ranges::find(lines, m_editing->id, &AgentTask::id);
    if (line == lines.end() || *line == *m_editing)
        return;
    m_editing = *line;
    fill();
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

void TaskEditView::updateState()
{
    const bool isWaiting = m_status->currentIndex() == 0;
    m_waitingReason->setVisible(isWaiting);
    m_save->setEnabled(canSave());
    DrawnButton::Look look = saveLook;
    if (!canSave())
        look.fill = Theme::faded(Theme::secondary, disabledSaveOpacity);
    m_save->setLook(look);
    if (width() > 0)
        layOut(width());
    redraw();
}

// Visits every field that is shown, with the boxes of its label and its control. The y below the last one.
double TaskEditView::walkFields(
    double width, const std::function<void(const Field &, const QRectF &label, const QRectF &control)> &visit)
{
    double y = formPadding + Theme::face(formHeadingStyle).lineHeight + formGap;
    const double inside = width - 2 * formPadding;
    const double labelHeight = Theme::face(formLabelStyle).lineHeight;
    const double fieldHeight = labelHeight + formLabelGap + TextField::height;
    for (qsizetype i = 0; i < m_fields.size(); ++i) {
        const Field &field = m_fields.at(i);
        if (field.control->isHidden() && field.control == m_waitingReason)
            continue;
        const bool sharesRow = i + 1 < m_fields.size() && !m_fields.at(i + 1).isInOwnRow;
        const bool isChoice = qobject_cast<QComboBox *>(field.control) != nullptr;
        const double left = field.isInOwnRow ? formPadding : formPadding + inside - choiceWidth;
        const double fieldWidth = isChoice ? choiceWidth : inside - (sharesRow ? choiceWidth + columnGap : 0);
        visit(field, {left, y, fieldWidth, labelHeight},
              {left, y + labelHeight + formLabelGap, fieldWidth, double(TextField::height)});
        if (!sharesRow)
            y += fieldHeight + formGap;
    }
    return y;
}

int TaskEditView::layOut(int width)
{
    const QSizeF cancel = m_cancel->exactSize();
    const double headerHeight = Theme::face(formHeadingStyle).lineHeight;
    m_cancel->placeAt(
        {{width - formPadding - cancel.width(), formPadding + (headerHeight - cancel.height()) / 2}, cancel});
    const double y = walkFields(width, [](const Field &field, const QRectF &, const QRectF &control) {
        field.control->setGeometry(control.toAlignedRect());
    });
    const QSizeF save(width - 2 * formPadding, m_save->exactSize().height());
    m_save->placeAt({{formPadding, y}, save});
    return static_cast<int>(std::lround(y + save.height() + formPadding));
}

void TaskEditView::compose(Drawing &drawing)
{
    TextBlock heading = layText(m_editing ? u"编辑任务"_s : u"登记任务"_s, formHeadingStyle, width());
    drawing.add("heading", {{formPadding, formPadding}, heading.size}, std::move(heading.content));
    walkFields(width(), [&](const Field &field, const QRectF &label, const QRectF &) {
        TextBlock text = layText(field.label, formLabelStyle, label.width());
        drawing.add(field.labelName, {label.topLeft(), text.size}, std::move(text.content));
    });
}

void TaskEditView::focusLastField()
{
    QWidget *last = focusWidget();
    (last && last->isVisible() ? last : m_title)->setFocus(Qt::OtherFocusReason);
}

QList<QWidget *> TaskEditView::tabOrder() const
{
    QList<QWidget *> controls;
    for (const Field &field : m_fields)
        controls.append(field.control);
    controls << m_save << m_cancel;
    controls.removeIf([](const QWidget *control) { return control->isHidden() || !control->isEnabled(); });
    return controls;
}

void TaskEditView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        Q_EMIT closed();
    else
        DrawnView::keyPressEvent(event);
}
