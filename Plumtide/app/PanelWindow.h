#pragma once

#include "Plumtide/desktop/PointerPresses.h"

#include <QPoint>
#include <QPointer>
#include <QWidget>

#include <chrono>
#include <functional>
#include <optional>

/// The window of the main panel, which comes and goes like a menu: it opens beside the tray item with the keyboard,
/// and closes when the user turns to something else, on Escape, or on a second click. (No Qt::Popup: Qt 6.4 hides
/// those from screen readers.)
/// Thread: main thread.
class PanelWindow final : public QWidget
{
    Q_OBJECT

public:
    using Now = std::function<std::chrono::steady_clock::time_point()>;
    /// Some desktops take the focus away before they report the click on the tray item. A click within this time after
    /// the panel has closed for that reason means "close".
    static constexpr std::chrono::milliseconds reopenPause{200};

    /// Within this time after it has opened, a loss of the focus without a move of the pointer is not the user's.
    static constexpr std::chrono::milliseconds openingTime{250};

    /// Owns `content`, and has its size. The content gets every key first: Escape closes when nobody in it accepts it.
    explicit PanelWindow(QWidget *content, Now now = std::chrono::steady_clock::now);

    /// `item` is the tray item's place, in logical screen pixels (see `panelTopLeft`). Without one, the last that was
    /// known counts, or else the corner by the desktop's bar. `token` lets the panel take the focus (see
    /// FloatingWindow::prepare); without one, that counts which Qt has got from the tray. Of an open panel, `open` only
    /// brings the focus back.
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
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void closeUnlessBusy();
    void keepWhileOpening();
    void dismiss();
    [[nodiscard]] QPoint placeFor(QRect item) const;

    const Now m_now;
    PointerPresses m_presses;
    bool m_isHiding = false;
    std::chrono::steady_clock::time_point m_openedAt;
    QPoint m_pointerAtOpening;
    QRect m_item;                                                     // the last place of the tray item
    std::optional<std::chrono::steady_clock::time_point> m_lostFocus; // when it closed for that reason
    QPointer<QWidget> m_awaited; // a popup or dialog of ours; after it, it is to be decided whether the panel closes
};
