#include "Plumtide/views/PanelHeader.h"

#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/DrawnButton.h"
#include "Plumtide/views/HStack.h"
#include "Plumtide/views/SourceChip.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double headerPaddingX = 14;
constexpr double paddingTop = 12;
constexpr double paddingBottom = 10;
constexpr double rowGap = 10;
constexpr double headerItemGap = 8;
constexpr double headerCountGap = 6;
constexpr double headerNumberGap = 4;
constexpr double iconSize = 12;
constexpr double headerChipGap = 2;
constexpr double trayPadding = 2;
constexpr double trayRadius = 7;

constexpr TextStyle headerTitleStyle{15, QFont::DemiBold, Theme::text, TextStyle::Design::Serif};
constexpr TextStyle countLabelStyle{12, QFont::Normal, Theme::secondary};
constexpr TextStyle countStyle{12, QFont::DemiBold, Theme::text};
constexpr TextStyle emphasizedCountStyle{12, QFont::DemiBold, Theme::accent};

constexpr double chipPaddingX = 9;
constexpr double chipPaddingY = 3;
constexpr double chipRadius = 5;
const DrawnButton::Look chipLook{.style = {11, QFont::Normal, Theme::secondary},
                                 .paddingX = chipPaddingX,
                                 .paddingY = chipPaddingY,
                                 .radius = chipRadius};
const DrawnButton::Look selectedChipLook{.style = {11, QFont::DemiBold, Theme::text},
                                         .paddingX = chipPaddingX,
                                         .paddingY = chipPaddingY,
                                         .fill = Theme::card,
                                         .radius = chipRadius,
                                         .shadow = Drawing::Shadow{Theme::faded(Qt::black, 0.06), 1, {0, 1}}};
const DrawnButton::Look registerLook{.style = {11, QFont::Medium, Theme::secondary}};

void addCount(HStack &row, const char *labelName, const char *numberName, const QString &label, qsizetype number,
              bool emphasized)
{
    row.setGap(headerCountGap);
    row.text(labelName, label, countLabelStyle);
    row.setGap(headerNumberGap);
    row.text(numberName, QString::number(number), emphasized && number >= 1 ? emphasizedCountStyle : countStyle);
}

} // namespace

PanelHeader::PanelHeader(TaskStore &store, QWidget *parent) : DrawnView(parent), m_store(store)
{
    setObjectName(u"header"_s);
    m_filters.append({std::nullopt, sourceChip(u"全部"_s, std::nullopt, u"chip.all"_s)});
    for (const TaskSource source : allTaskSources)
        m_filters.append(
            {source, sourceChip(SourceChip::label(source), source, u"chip."_s + storedText(source).toLower())});
    m_register = new DrawnButton(u"登记"_s, u"plus"_s, registerLook, this); // after the chips, as Tab goes
    m_register->setObjectName(u"header.register"_s);
    m_register->setToolTip(u"手动登记一个任务（Codex 或其他来源都可以）"_s);
    connect(m_register, &QAbstractButton::clicked, this, [this] {
        m_register->setFocus(Qt::OtherFocusReason); // it comes back here from the form
        Q_EMIT registerRequested();
    });
    updateChips();
}

DrawnButton *PanelHeader::sourceChip(const QString &label, std::optional<TaskSource> value, const QString &name)
{
    auto *chip = new DrawnButton(label, {}, chipLook, this);
    chip->setObjectName(name);
    chip->setCheckable(true);
    chip->setAccessibleRole(QAccessible::RadioButton);
    connect(chip, &QAbstractButton::clicked, this, [this, value] {
        m_store.setSourceFilter(value);
        updateChips(); // at once: a press has also unchecked the selected one
    });
    return chip;
}

void PanelHeader::updateChips()
{
    m_shownFilter = m_store.sourceFilter();
    for (const SourceFilter &filter : std::as_const(m_filters)) {
        const bool isSelected = m_shownFilter == filter.value;
        filter.chip->setChecked(isSelected);
        filter.chip->setLook(isSelected ? selectedChipLook : chipLook);
    }
    layOut(width());
    redraw();
}

void PanelHeader::refresh(qsizetype waiting, qsizetype running, qsizetype idle)
{
    if (m_shownFilter != m_store.sourceFilter())
        updateChips();
    if (m_waiting == waiting && m_running == running && m_idle == idle)
        return;
    m_waiting = waiting;
    m_running = running;
    m_idle = idle;
    redraw();
}

double PanelHeader::sourcePickerTop() const
{
    return paddingTop + Theme::face(headerTitleStyle).lineHeight + rowGap;
}

QSizeF PanelHeader::sourcePickerSize() const
{
    QSizeF size(2 * trayPadding - headerChipGap, 0);
    for (const SourceFilter &filter : std::as_const(m_filters)) {
        const QSizeF chip = filter.chip->exactSize();
        size = {size.width() + chip.width() + headerChipGap, std::max(size.height(), chip.height() + 2 * trayPadding)};
    }
    return size;
}

int PanelHeader::layOut(int width)
{
    const QSizeF picker = sourcePickerSize();
    const double top = sourcePickerTop();
    double x = headerPaddingX + trayPadding;
    for (const SourceFilter &filter : std::as_const(m_filters)) {
        const QSizeF size = filter.chip->exactSize();
        filter.chip->placeAt({{x, top + trayPadding}, size});
        x += size.width() + headerChipGap;
    }
    const QSizeF size = m_register->exactSize();
    m_register->placeAt({{width - headerPaddingX - size.width(), top + (picker.height() - size.height()) / 2}, size});
    return static_cast<int>(std::lround(top + picker.height() + paddingBottom));
}

void PanelHeader::compose(Drawing &drawing)
{
    HStack row(headerItemGap);
    row.icon("icon", u"people"_s, iconSize, Theme::secondary);
    row.text("title", u"Plumtide"_s, headerTitleStyle);
    row.spacer();
    addCount(row, "count.waiting.label", "count.waiting.number", u"等你处理"_s, m_waiting, true);
    addCount(row, "count.running.label", "count.running.number", u"在跑"_s, m_running, false);
    addCount(row, "count.idle.label", "count.idle.number", u"没新动静"_s, m_idle, false);
    row.place(drawing, {headerPaddingX, paddingTop}, width() - 2 * headerPaddingX);
    drawing.add("filter.tray", {{headerPaddingX, sourcePickerTop()}, sourcePickerSize()},
                Drawing::Box{.fill = Theme::filterTray, .radius = trayRadius});
}
