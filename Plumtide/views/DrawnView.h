#pragma once

#include "Plumtide/views/Drawing.h"

#include <QWidget>

/// What has a drawing, whatever kind of widget it is. `origin` is where the drawing's 0,0 lies in the widget: widgets
/// stand on whole pixels, what they show need not.
class Drawn
{
public:
    virtual ~Drawn() = default;
    [[nodiscard]] virtual const Drawing &drawing() = 0;
    [[nodiscard]] QPointF origin() const { return m_origin; }
    /// How visible it is on its background, 0 to 1; that of a view counts for the drawn things in it, too.
    [[nodiscard]] double opacity() const { return m_opacity; }

    /// Sets `widget`'s geometry to the smallest one that holds `box`, in its parent's coordinates, and `margin`
    /// logical pixels around it for shadows and the focus ring.
    void placeAt(QWidget &widget, const QRectF &box, double margin = 0);

protected:
    void paintDrawing(QWidget &widget, const QRect &clip);

    QPointF m_origin;
    double m_opacity = 1;
};

/// A widget that shows a drawing. It is composed when it is needed for the first time after a change.
/// A screen reader hears the drawing's texts, unless the widget has an accessible name.
class DrawnView : public QWidget, public Drawn
{
    Q_OBJECT

public:
    explicit DrawnView(QWidget *parent);

    [[nodiscard]] const Drawing &drawing() final;

    /// Takes `width` logical pixels and returns the height it needs, whole logical pixels. Places its children.
    virtual int layOut(int width) = 0;
    void setOpacity(double opacity);

protected:
    virtual void compose(Drawing &drawing) = 0; ///< For the present size.
    void redraw();                              ///< What is shown has changed; its size has not.

    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    Drawing m_drawing;
    bool m_isComposed = false;
};
