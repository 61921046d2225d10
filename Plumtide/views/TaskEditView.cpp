#include "Plumtide/views/TaskEditView.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/system/Characters.h"
#include "Plumtide/views/HStack.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QGridLayout>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QRegularExpression>
#include <QShortcut>
#include <QStyleOptionComboBox>
#include <QStyledItemDelegate>
#include <QTranslator>
#include <QUuid>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>
#include <array>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr int headingHeight = 20;
constexpr int formRowGap = 12;
constexpr int formLabelGap = 4;
constexpr int formColumnGap = 10;
constexpr int choiceWidth = 104;
constexpr int fieldHeight = 24;
constexpr int saveHeight = 31;
constexpr double arrowSize = 9;

constexpr std::array offeredStatuses{AgentTaskStatus::waiting, AgentTaskStatus::running};

// Line breaks at the ends stay.
QString withoutSpacesAtEnds(QString text)
{
    static const QRegularExpression spaces(u"\\A[\\t\\p{Zs}]+|[\\t\\p{Zs}]+\\z"_s);
    return text.remove(spaces);
}

QString statusLabel(AgentTaskStatus status)
{
    static const std::array labels{u"待处理"_s, u"进行中"_s, u"已搁置"_s, u"已完成"_s};
    return labels[static_cast<std::size_t>(status)];
}

// Translates the context menu of text fields to Chinese.
class InputMenuTexts final : public QTranslator
{
public:
    using QTranslator::QTranslator;
    [[nodiscard]] QString translate(const char *context, const char *text, const char * /*comment*/,
                                    int /*number*/) const override
    {
        static const QHash<QByteArrayView, QString> texts{
            {"&Undo", u"撤销"_s},  {"&Redo", u"重做"_s},  {"Cu&t", u"剪切"_s},      {"&Copy", u"复制"_s},
            {"&Paste", u"粘贴"_s}, {"Delete", u"删除"_s}, {"Select All", u"全选"_s}};
        return std::strcmp(context, "QLineEdit") == 0 ? texts.value(text) : QString();
    }
};

// A combo box of the form. It ignores the wheel.
class FormChoice final : public QComboBox
{
public:
    explicit FormChoice(QWidget *parent) : QComboBox(parent)
    {
        setFixedWidth(choiceWidth);
        setItemDelegate(new QStyledItemDelegate(this)); // QComboBox's own marks no item under a style sheet
        connect(this, &QComboBox::currentIndexChanged, this, [this] {
            QAccessibleEvent event(this, QAccessible::NameChanged); // the name includes the value
            QAccessible::updateAccessibility(&event);
        });
    }

private:
    void wheelEvent(QWheelEvent *event) override { event->ignore(); }
    // Draws the arrow, since one of the style sheet needs Qt's plugin for SVG images, which may be missing.
    void paintEvent(QPaintEvent *event) override
    {
        QComboBox::paintEvent(event);
        QStyleOptionComboBox option;
        initStyleOption(&option);
        const QRectF room = style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxArrow, this);
        QPainter(this).drawPixmap(room.center() - QPointF(arrowSize, arrowSize) / 2,
                                  iconPixmap(u"chevron-down"_s, arrowSize, Theme::secondary, devicePixelRatioF()));
    }
};

QString formStyle()
{
    const auto shade = [](QColor color, double opacity) { return Theme::faded(color, opacity).name(QColor::HexArgb); };
    return u"QGroupBox { border: none; padding: 14px; font-size: 14px; font-weight: bold; }"
           "QGroupBox::title { subcontrol-origin: content; left: -2px; }"
           "QLabel { color: %4; font-size: 11px; }"
           "QLineEdit, QComboBox { background: %1; border: 1px solid %2; border-radius: 6px; padding: 0px 6px; }"
           "QComboBox { padding: 0px 7px; }"
           "QLineEdit:focus { border: 2px solid %3; padding: 0px 5px; }"
           "QComboBox:focus { border: 2px solid %3; padding: 0px 6px; }"
           "QComboBox::drop-down { border: none; width: 24px; }"
           "QComboBox::down-arrow { image: none; }"
           "QPushButton { border: none; color: %4; }"
           "QPushButton:hover { color: %5; }"
           "QPushButton:focus { color: %7; text-decoration: underline; outline: none; }"
           "QPushButton:pressed { color: %6; }"
           "QPushButton#save { background: %7; border-radius: 8px; color: %1; font-weight: bold; }"
           "QPushButton#save:hover { background: %3; }"
           "QPushButton#save:focus { border: 2px solid %10; text-decoration: none; }"
           "QPushButton#save:pressed { background: %8; }"
           "QPushButton#save:disabled { background: %9; }"_s.arg(
               Theme::card.name(), Theme::fieldBorder.name(), shade(Theme::accent, 0.8), Theme::secondary.name(),
               shade(Theme::secondary, 0.8), shade(Theme::secondary, 0.6), Theme::accent.name(),
               shade(Theme::accent, 0.6), shade(Theme::secondary, 0.4), Theme::text.name());
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
    [[maybe_unused]] static const bool isTranslated = QCoreApplication::installTranslator(new InputMenuTexts(qApp));
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
