#pragma once

#include "Plumtide/views/DrawnView.h"

#include <QAbstractButton>
#include <QAccessible>

/// A button of our own look: an icon, a text, or both, on a face. Enter and Space press it, like a click.
class DrawnButton : public QAbstractButton, public Drawn
{
    Q_OBJECT

public:
    struct Look
    {
        TextStyle style;
        double paddingX = 0;
        double paddingY = 0;
        QColor fill = Qt::transparent;
        double radius = 0;
        QColor border = Qt::transparent;
        std::optional<Drawing::Shadow> shadow = {};
        bool fillsWidth = false; ///< The text stands in the middle of a face as wide as its room.
    };

    /// `icon` may be empty.
    DrawnButton(const QString &text, const QString &icon, const Look &look, QWidget *parent);

    void setLook(const Look &look);
    void setIconName(const QString &icon);
    void setOpacity(double opacity);
    void setLeastWidth(double width); ///< Of its face, whatever it says.
    [[nodiscard]] QSizeF exactSize(); ///< Logical pixels; without the room around it.
    void placeAt(const QRectF &box);  ///< In its parent, and with the room that its shadow and its focus ring need.
    [[nodiscard]] const Drawing &drawing() override;
    /// What a screen reader calls it; `Button` unless it was set.
    void setAccessibleRole(QAccessible::Role role) { m_role = role; }
    [[nodiscard]] QAccessible::Role accessibleRole() const { return m_role; }
    [[nodiscard]] QSize sizeHint() const override { return size(); }

protected:
    /// For a button that shows something else; `width` is that of its box, 0 for as wide as it likes to be.
    virtual QSizeF compose(Drawing &drawing, double width);
    void invalidate();

    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;

private:
    QString m_icon;
    Look m_look;
    Drawing m_drawing;
    QString m_drawnText;
    double m_leastWidth = 0;
    bool m_isComposed = false;
    bool m_showsFocus = false;
    QAccessible::Role m_role = QAccessible::Button;
    QSizeF m_box; // its own, within its widget
};

/// The ring around a control that has the keyboard's focus; `box` is the control's.
void paintFocusRing(QPainter &painter, const QRectF &box, double radius);

/// Whether focus that came for this reason is to be shown: it came by the keyboard.
[[nodiscard]] bool isKeyboardFocus(Qt::FocusReason reason);
