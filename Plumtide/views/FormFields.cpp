#include "Plumtide/views/FormFields.h"

#include "Plumtide/views/Drawing.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QHash>
#include <QPainter>
#include <QStyleOptionComboBox>
#include <QStyledItemDelegate>
#include <QTranslator>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr double arrowSize = 9;

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

} // namespace

void translateInputMenus()
{
    [[maybe_unused]] static const bool isTranslated = QCoreApplication::installTranslator(new InputMenuTexts(qApp));
}

FormChoice::FormChoice(QWidget *parent) : QComboBox(parent)
{
    setItemDelegate(new QStyledItemDelegate(this)); // QComboBox's own marks no item under a style sheet
    connect(this, &QComboBox::currentIndexChanged, this, [this] {
        QAccessibleEvent event(this, QAccessible::NameChanged); // the name includes the value
        QAccessible::updateAccessibility(&event);
    });
}

// Draws the arrow, since one of the style sheet needs Qt's plugin for SVG images, which may be missing.
void FormChoice::paintEvent(QPaintEvent *event)
{
    QComboBox::paintEvent(event);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    const QRectF room = style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxArrow, this);
    QPainter(this).drawPixmap(room.center() - QPointF(arrowSize, arrowSize) / 2,
                              iconPixmap(u"chevron-down"_s, arrowSize, Theme::secondary, devicePixelRatioF()));
}

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
