#pragma once

#include "Plumtide/views/Drawing.h"

#include <QAbstractButton>
#include <QElapsedTimer>

class DrawnButton;

/// A widget that shows a drawing, with the drawing's buttons on it. It can be pressed if it was made so: by a click,
/// Enter or Space. A screen reader hears the drawing's texts, unless the widget has an accessible name.
class DrawnView : public QAbstractButton
{
    Q_OBJECT

public:
    DrawnView(QAccessible::Role role, QWidget *parent);

    void setDrawing(Drawing drawing); ///< Its buttons stay the same widgets, by their names.
    [[nodiscard]] const Drawing &drawing() const { return m_drawing; }
    /// Puts it at `box` in its parent, with `margin` around it for shadows and the focus ring. Widgets stand on whole
    /// pixels, what they show need not. Lower than its drawing, it is cut off.
    void place(const QRectF &box, double margin = 0);
    /// How visible it is on its background, 0 to 1; its buttons besides.
    void setOpacity(double opacity, double ofButtons = 1);

    [[nodiscard]] virtual QAccessible::Role role() const { return m_role; }
    [[nodiscard]] std::optional<bool> isExpanded() const { return m_isExpanded; } ///< If it can be.
    void setExpanded(bool isExpanded);
    [[nodiscard]] virtual bool isMarked() const { return false; } ///< Checked, or switched on.
    [[nodiscard]] virtual double radius() const { return 4; }     ///< Of its corners.
    /// What a double click and the keys of a line's actions are about; nothing when it is empty.
    [[nodiscard]] virtual QString subject() const { return m_subject; }
    void setPressable();
    void setSubject(const QString &subject) { m_subject = subject; }
    [[nodiscard]] QRectF box() const { return m_box; }             ///< In the widget.
    [[nodiscard]] bool showsFocus() const { return m_showsFocus; } ///< When it has it: it came by a key.
    /// What can have the focus, from the first to the last, itself included.
    [[nodiscard]] QList<QWidget *> controls();

Q_SIGNALS:
    /// A button was pressed, for the subject that it had when the press began; or one of `LineMenu::wishes` came.
    void wished(const QString &button, const QString &subject);
    void menuRequested(const QString &subject, QPoint place); ///< In global pixels.

protected:
    void tellState(QAccessible::State changed);

    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;

private:
    void placeButtons();

    const QAccessible::Role m_role;
    QString m_subject;
    QString m_pressedSubject;   // of the last press
    QElapsedTimer m_sincePress; // invalid before the first
    Drawing m_drawing;
    QList<DrawnButton *> m_buttons; // as in the drawing
    QRectF m_box;
    double m_opacity = 1;
    double m_opacityOfButtons = 1;
    bool m_isPressable = false;
    std::optional<bool> m_isExpanded;
    bool m_showsFocus = false;
};

/// A button of a drawing.
class DrawnButton final : public DrawnView
{
    Q_OBJECT

public:
    /// `view` tells what it tells.
    explicit DrawnButton(DrawnView &view);

    void set(const Drawing::Control &control);
    [[nodiscard]] const QString &name() const { return m_button.name; }
    [[nodiscard]] double reach() const; ///< Around its face, for its shadow and the focus ring.

    [[nodiscard]] QAccessible::Role role() const override { return m_button.role; }
    [[nodiscard]] bool isMarked() const override { return m_button.isChecked; }
    [[nodiscard]] double radius() const override { return m_button.look.radius; }
    [[nodiscard]] QString subject() const override { return m_button.subject; }

private:
    void press();
    void showText(const QString &text);

    Drawing::Button m_button;
    std::optional<Drawing::Button> m_pressed; // as it was then; none when the press does not count
    QElapsedTimer m_sinceChange;              // of the subject
};
