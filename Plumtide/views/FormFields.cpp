#include "Plumtide/views/FormFields.h"

#include "Plumtide/views/Icons.h"
#include "Plumtide/views/Theme.h"

#include <QPainter>
#include <QWheelEvent>

using namespace Qt::StringLiterals;

namespace {

constexpr int fieldPaddingX = 8;
constexpr double fieldRadius = 6;
constexpr double chevronSize = 9;
constexpr double focusWidth = 2;
constexpr TextStyle fieldTextStyle{12, QFont::Normal, Theme::text};

void paintFace(QWidget *field)
{
    QPainter painter(field);
    painter.setRenderHint(QPainter::Antialiasing);
    const double width = field->hasFocus() ? focusWidth : 1;
    painter.setPen(QPen(field->hasFocus() ? Theme::faded(Theme::accent, 0.8) : Theme::fieldBorder, width));
    painter.setBrush(Theme::card);
    painter.drawRoundedRect(QRectF(field->rect()).adjusted(width / 2, width / 2, -width / 2, -width / 2),
                            fieldRadius - width / 2, fieldRadius - width / 2);
}

} // namespace

TextField::TextField(const QString &placeholder, QWidget *parent) : QLineEdit(parent)
{
    setFrame(false);
    setContextMenuPolicy(Qt::NoContextMenu); // Qt's own is English; its keys work
    setFont(Theme::widgetFont(fieldTextStyle));
    QPalette palette;
    palette.setColor(QPalette::Base, Qt::transparent); // the face is ours
    setPalette(palette);
    setTextMargins(fieldPaddingX - 2, 0, fieldPaddingX - 2, 0); // QLineEdit keeps 2 pixels beside the text
    setPlaceholderText(placeholder);
}

void TextField::paintEvent(QPaintEvent *event)
{
    paintFace(this);
    QLineEdit::paintEvent(event);
}

ChoiceField::ChoiceField(const QStringList &labels, QWidget *parent) : QComboBox(parent)
{
    setFont(Theme::widgetFont(fieldTextStyle));
    addItems(labels);
}

void ChoiceField::paintEvent(QPaintEvent * /*event*/)
{
    paintFace(this);
    QPainter painter(this);
    painter.setPen(fieldTextStyle.color);
    painter.drawText(QRectF(rect()).adjusted(fieldPaddingX, 0, -fieldPaddingX, 0), Qt::AlignLeft | Qt::AlignVCenter,
                     currentIndex() >= 0 ? currentText() : m_otherText);
    const QPointF at(width() - fieldPaddingX - chevronSize, (height() - chevronSize) / 2);
    painter.drawPixmap(at, iconPixmap(u"chevron-down"_s, chevronSize, Theme::secondary, devicePixelRatioF()));
}

void ChoiceField::wheelEvent(QWheelEvent *event)
{
    event->ignore();
}
