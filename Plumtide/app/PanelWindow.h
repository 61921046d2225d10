#pragma once

#include "Plumtide/desktop/XcbEvents.h"

#include <QPoint>
#include <QPointer>
#include <QWidget>

#include <chrono>
#include <functional>
#include <optional>

/// The window of the main panel. It opens beside the tray item and takes the keyboard focus; it closes when it loses
/// the focus, on Escape, or on a second click. (It is no Qt::Popup, since Qt 6.4 hides those from screen readers.)
class PanelWindow final : public QWidget
{
    Q_OBJECT

public:
    using Now = std::function<std::chrono::steady_clock::time_point()>;
    /// A click so soon after the focus was lost does not open it again: some desktops report the one that took it late.
    static constexpr std::chrono::milliseconds reopenPause{200};

    /// Within this time after opening, the panel stays open when it loses the focus, unless the pointer has moved.
    static constexpr std::chrono::milliseconds openingTime{250};

    /// Owns `content`, and has its size. The content gets every key first: Escape closes when nobody in it accepts it.
    explicit PanelWindow(QWidget *content, Now now = std::chrono::steady_clock::now);

    /// `item` is as in `panelTopLeft`; if it is empty, the last known one counts. `token` lets the panel take the focus
    /// (see FloatingWindow::prepare); if it is empty, Qt may have one from the tray. An open panel only gets the focus.
    void toggle(const QRect &item = {});
    void open(const QRect &item = {}, QByteArray token = {});
    void setVisible(bool isVisible) override;

Q_SIGNALS:
    void opened();
    void closed();

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void closeUnlessBusy();
    void checkFocusAfter(std::chrono::milliseconds time); // and closes if another program has it
    void dismiss();
    [[nodiscard]] QPoint placeFor(QRect item) const;

    const Now m_now;
    PointerPresses m_presses;
    bool m_isHiding = false;
    std::chrono::steady_clock::time_point m_openedAt;
    QPoint m_pointerAtOpening;
    QRect m_item;                                                     // the last known tray item's geometry
    std::optional<std::chrono::steady_clock::time_point> m_lostFocus; // when it closed because of that
    QPointer<QWidget> m_awaited; // our popup that has the focus; when it closes, the focus is checked again
};
