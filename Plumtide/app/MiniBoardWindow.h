#pragma once

#include "Plumtide/desktop/XcbEvents.h"

#include <QPoint>
#include <QWidget>

#include <optional>

/// The window of the mini board: frameless, above the other windows, on every desktop, never with the keyboard, and as
/// large as its content. The user can drag it wherever that ignores mouse presses.
class MiniBoardWindow final : public QWidget
{
    Q_OBJECT

public:
    /// In logical pixels.
    struct Content
    {
        QWidget *widget;
        int shadowMargin; ///< Of the widget, around the board. Clicks there go to the window below.
        int cornerRadius; ///< Of the board; for screens without a compositor.
    };

    explicit MiniBoardWindow(const Content &content); ///< Owns the widget.

    /// Of the board's top left corner, in logical screen pixels; also off every screen, if the window manager lets it.
    void setPlace(QPoint place);
    [[nodiscard]] QSize boardSize() const { return size() - 2 * QSize(m_offset.x(), m_offset.y()); }

    void showInFront(); ///< Does not activate it.

Q_SIGNALS:
    /// At the end of a drag, and when the window manager moves it while a mouse button, Alt or Super is down. Other
    /// moves may not be the user's; so one by arrow keys, or one that is reported after the key's release, is missed.
    void movedByUser(QPoint place);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void ensureOnScreen();
    void updateShape();
    void endDrag();

    ManagerSelection m_compositor{"_NET_WM_CM_S0"};
    const QPoint m_offset; // of the board in the window
    const int m_cornerRadius;
    // Of the board, as set or dragged. pos() may be wrong: Qt 6.4 on X11 may report a move to 0,0 that did not happen.
    QPoint m_place;
    std::optional<QPoint> m_dragOffset; // of the mouse in the window, while the user drags it
    bool m_hasDragged = false;
};
