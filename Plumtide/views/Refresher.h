#pragma once

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>

class QWidget;

/// Reads a view's sources again after they have changed: once a frame at most, however many changes there are, and not
/// at all while the view is hidden; then once when it is shown. No timer runs while nothing changes. Main thread.
class Refresher final : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds frame{16};

    /// `view` owns it; `refresh` is called on the event loop, or while `view` is being shown.
    Refresher(QWidget *view, std::function<void()> refresh);

    void markStale(); ///< Sources announce a change before they make it, so nothing is read now.

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void refreshNow();

    QWidget *m_view;
    std::function<void()> m_refresh;
    QTimer m_timer;
    QDeadlineTimer m_nextFrame; // has passed at first
};
