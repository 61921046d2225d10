#pragma once

#include "Plumtide/desktop/XcbEvents.h"

#include <QPoint>
#include <QWidget>

#include <optional>

/// The window of the mini board: frameless, above the other windows, on every desktop, never with the keyboard. The
/// user drags it by everything in it that leaves mouse presses alone. It has the size that its content wants, and
/// grows and shrinks at its lower edge.
/// Thread: main thread.
class MiniBoardWindow final : public QWidget
{
    Q_OBJECT

public:
    static constexpr int cornerRadius = 11; ///< Logical pixels; for screens that cannot show transparency.
    /// Around the board, for its shadow; clicks there go to what lies below. The board's place and size are without it.
    static constexpr int shadowMargin = 12;

    explicit MiniBoardWindow(QWidget *content); ///< Takes `content` over, which has the margin.

    /// Where the user or `setPlace` has put the top left corner, in logical screen pixels. The toolkit's `pos` is not
    /// to be trusted for that: Qt 6.4 on X11 is now and then told of a move to 0,0 that never was.
    [[nodiscard]] QPoint place() const { return m_place; }
    void setPlace(QPoint place); ///< Also off every screen, if the window manager lets it.
    [[nodiscard]] QSize boardSize() const { return size().shrunkBy(margins); }

    void showInFront(); ///< Does not activate it.

Q_SIGNALS:
    /// At the end of a drag, and when the window manager moves it while a mouse button, Alt or Super is down (its own
    /// drag). Other moves by the window manager cannot be told from its own ideas, and are not reported: those by the
    /// arrow keys, and a drag whose key was let go before the button where it reports only the end.
    void movedByUser(QPoint place);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    static constexpr QMargins margins{shadowMargin, shadowMargin, shadowMargin, shadowMargin};
    static constexpr QPoint offset{shadowMargin, shadowMargin}; // of the board in the window

    void stayInReach();
    void updateShape();
    void endDrag();

    ManagerSelection m_compositor{"_NET_WM_CM_S0"};
    QPoint m_place;
    std::optional<QPoint> m_grip; // while it is dragged: where in the window the mouse holds it
    bool m_hasDragged = false;
};
