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

    void setDrawing(Drawing drawing); ///< The n-th button stays the same widget.
    [[nodiscard]] const Drawing &drawing() const { return m_drawing; }
    /// Where the drawing stands in the parent. The widget has `margin` around it for shadows and the focus ring, and
    /// whole pixels. A drawing that is higher than `box` is cut off.
    void setContentRect(const QRectF &box, double margin = 0);
    void setOpacity(double opacity, double ofButtons = 1); ///< On its background, 0 to 1; its buttons besides.

    [[nodiscard]] QAccessible::Role role() const { return m_role; }
    [[nodiscard]] std::optional<bool> isExpanded() const { return m_isExpanded; } ///< None where it cannot be.
    void setExpanded(bool isExpanded);
    [[nodiscard]] virtual double radius() const { return 4; }     ///< Of its corners.
    [[nodiscard]] virtual QString line() const { return m_line; } ///< The id of the task line that it is about.
    void setLine(const QString &id) { m_line = id; }
    void setPressable();
    [[nodiscard]] QRectF box() const { return m_box; }             ///< In the widget.
    [[nodiscard]] bool showsFocus() const { return m_showsFocus; } ///< When it has it: it came by a key.
    /// Whether a key may act on the line: the user sees that it has the focus, or has clicked on this very line.
    [[nodiscard]] bool isLineChosen() const { return m_showsFocus || m_chosenLine == line(); }
    [[nodiscard]] QList<QWidget *> controls(); ///< What can have the focus, in order, itself included.

Q_SIGNALS:
    /// By a button, with the command that it had when the press began; or by a double click on a line.
    void activated(const Command &command);
    void menuRequested(const QString &line, QPoint place); ///< In global pixels.

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;

private:
    void layOutButtons();
    [[nodiscard]] bool isOnBoard() const { return m_role == QAccessible::ListItem || m_role == QAccessible::Heading; }
    [[nodiscard]] bool isPressable() const { return focusPolicy() == Qt::StrongFocus; }

    const QAccessible::Role m_role;
    QString m_line;
    QString m_chosenLine;       // when it was last clicked on, or got the focus
    QElapsedTimer m_sincePress; // invalid before the first
    Drawing m_drawing;
    QList<DrawnButton *> m_buttons; // as in the drawing
    QRectF m_box;
    double m_opacity = 1;
    double m_opacityOfButtons = 1;
    std::optional<bool> m_isExpanded;
    bool m_showsFocus = false;
};

/// A button of a drawing.
class DrawnButton final : public DrawnView
{
    Q_OBJECT

public:
    /// `view` sends its signals on.
    DrawnButton(const Drawing::Button &button, DrawnView &view);

    void set(const Drawing::Control &control);
    [[nodiscard]] double paintMargin() const; ///< Around its face, for its shadow and the focus ring.

    [[nodiscard]] double radius() const override { return m_button.look.face.radius; }
    [[nodiscard]] QString line() const override
    {
        const auto *onLine = std::get_if<LineCommand>(&m_button.command);
        return onLine ? onLine->line : QString();
    }

protected:
    void nextCheckState() override {} ///< A press changes what it shows only by its command.

private:
    void showFace(const QString &text, const Drawing &face);

    Drawing::Button m_button;
    Drawing m_face;
    std::optional<Command> m_pressed; // none where the press is ignored
    QElapsedTimer m_sinceChange;      // of what it does
};
