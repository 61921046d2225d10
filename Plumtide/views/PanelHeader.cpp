#include "Plumtide/views/PanelHeader.h"

#include "Plumtide/store/NotificationFilter.h"
#include "Plumtide/views/HStack.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double paddingX = 14;
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

const Drawing::ButtonLook chipLook{
    .style = {11, QFont::Normal, Theme::secondary}, .padding = {9, 3}, .face = {.radius = 5}};
const Drawing::ButtonLook registerLook{.style = {11, QFont::Medium, Theme::secondary}};

constexpr double footerPaddingY = 9;
constexpr double footerItemGap = 10;
const TextStyle versionStyle{11, QFont::Normal, Theme::faded(Theme::secondary, 0.7)};
const Drawing::ButtonLook footerLook{.style = {12, QFont::Normal, Theme::secondary}};

void statusCount(HStack &row, const QString &label, qsizetype number, bool emphasized)
{
    row.setGap(headerCountGap);
    row.text(label, countLabelStyle);
    row.setGap(headerNumberGap);
    row.text(QString::number(number), countStyle.in(emphasized && number >= 1 ? Theme::accent : Theme::text));
}

Drawing::Button sourceChip(std::optional<TaskSource> source, const QString &text, bool isSelected)
{
    Drawing::ButtonLook look = chipLook;
    if (isSelected) {
        look.style = {11, QFont::DemiBold, Theme::text};
        look.face.fill = Theme::card;
        look.face.shadow = {Theme::faded(Qt::black, 0.06), 1, {0, 1}};
    }
    return {.command = FilterLines{source},
            .text = text,
            .look = look,
            .role = QAccessible::RadioButton,
            .isChecked = isSelected};
}

} // namespace

Drawing PanelHeader::compose(double width) const
{
    Drawing drawing;
    const double inside = width - 2 * paddingX;
    HStack title(headerItemGap);
    title.icon(u"people"_s, iconSize, Theme::secondary);
    title.text(u"Plumtide"_s, headerTitleStyle);
    title.spacer();
    statusCount(title, u"等你处理"_s, waiting, true);
    statusCount(title, u"在跑"_s, running, false);
    statusCount(title, u"没新动静"_s, idle, false);
    const double top = title.place(drawing, {paddingX, paddingTop}, inside).bottom() + rowGap;

    HStack sourcePicker(headerChipGap);
    sourcePicker.button(sourceChip({}, u"全部"_s, !filter));
    for (const TaskSource source : allTaskSources)
        sourcePicker.button(sourceChip(source, label(source), filter == source));
    const QRectF chips =
        sourcePicker.place(drawing, {paddingX + trayPadding, top + trayPadding}, inside - 2 * trayPadding);
    const QRectF tray = chips.adjusted(-trayPadding, -trayPadding, trayPadding, trayPadding);
    drawing.add(tray, Drawing::Box{.fill = Theme::filterTray, .radius = trayRadius});

    const Drawing::Button add{.command = PanelCommand::Register,
                              .text = u"登记"_s,
                              .look = registerLook,
                              .icon = u"plus"_s,
                              .hint = u"手动登记一个任务（Codex 或其他来源都可以）"_s};
    Drawing face = composeButton(add);
    const QPointF at(paddingX + inside - face.size.width(), tray.center().y() - face.size.height() / 2);
    drawing.addButton(add, at, std::move(face));
    drawing.size = {width, std::round(tray.bottom() + paddingBottom)};
    return drawing;
}

QString PanelFooter::muteText(const std::optional<QDateTime> &until, const QDateTime &now)
{
    if (!until || *until == NotificationFilter::never())
        return until ? u"勿扰中"_s : QString();
    const QDateTime end = until->toLocalTime();
    const QString day = end.date() == now.toLocalTime().date() ? u" "_s : u"明天 "_s;
    return u"勿扰到"_s + day + end.toString(u"HH:mm");
}

Drawing PanelFooter::compose(double width) const
{
    Drawing drawing;
    HStack row(footerItemGap);
    row.text(u"v" PLUMTIDE_VERSION ""_s, versionStyle);
    row.spacer();
    if (!mute.isEmpty())
        row.button({.command = PanelCommand::EndMute,
                    .text = mute,
                    .look = footerLook,
                    .role = QAccessible::CheckBox,
                    .isChecked = true});
    row.button({.command = PanelCommand::SwitchMiniBoard,
                .text = u"悬浮板"_s,
                .look = footerLook,
                .role = QAccessible::CheckBox,
                .isChecked = isMiniBoardOn});
    row.button({.command = PanelCommand::Quit, .text = u"退出"_s, .look = footerLook});
    const double bottom =
        row.place(drawing, {paddingX, footerPaddingY}, width - 2 * paddingX).bottom() + footerPaddingY;
    drawing.size = {width, std::round(bottom)};
    return drawing;
}
