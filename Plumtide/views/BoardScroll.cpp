#include "Plumtide/views/BoardScroll.h"

#include "Plumtide/views/Theme.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

#include <algorithm>
#include <chrono>

namespace {

constexpr int handleWidth = 6;
constexpr int handleMargin = 3; // to the right edge
constexpr int handleEnds = 2;   // above and below its way
constexpr int shortestHandle = 24;
constexpr int wheelStep = 120; // angle units of one step of an ordinary wheel
constexpr int pixelsAStep = 60;
constexpr std::chrono::milliseconds wheelTime{120};

} // namespace

/// Shows where a scroll bar stands, and can be dragged. The scroll bar itself is hidden, and does the work.
class ScrollHandle final : public QWidget
{
public:
    ScrollHandle(QScrollBar *bar, QWidget *parent) : QWidget(parent), m_bar(bar)
    {
        connect(bar, &QScrollBar::valueChanged, this, qOverload<>(&QWidget::update));
        connect(bar, &QScrollBar::rangeChanged, this, [this] { setVisible(m_bar->maximum() > 0); });
        hide();
    }

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::scrollHandle);
        painter.drawRoundedRect(handle(), handleWidth / 2.0, handleWidth / 2.0);
    }
    void mousePressEvent(QMouseEvent *event) override
    {
        // Beside the handle: it comes to the pointer.
        const QRectF box = handle();
        const double y = event->position().y();
        m_grip = y >= box.top() && y <= box.bottom() ? y - box.top() : box.height() / 2;
        mouseMoveEvent(event);
    }
    void mouseMoveEvent(QMouseEvent *event) override
    {
        const double way = height() - 2 * handleEnds - handle().height();
        if (way > 0)
            m_bar->setValue(static_cast<int>((event->position().y() - handleEnds - m_grip) / way * m_bar->maximum()));
    }

private:
    [[nodiscard]] QRectF handle() const
    {
        const double room = height() - 2 * handleEnds;
        const double all = m_bar->maximum() + m_bar->pageStep();
        const double length =
            std::clamp(room * m_bar->pageStep() / std::max(1.0, all), std::min<double>(shortestHandle, room), room);
        const double top = m_bar->maximum() > 0 ? (room - length) * m_bar->value() / m_bar->maximum() : 0;
        return {0, handleEnds + top, handleWidth, length};
    }

    QScrollBar *m_bar;
    double m_grip = 0; // where the handle is held, from its top
};

BoardScroll::BoardScroll(QWidget *parent)
    : QScrollArea(parent),
      m_handle(new ScrollHandle(verticalScrollBar(), this)),
      m_animation(verticalScrollBar(), "value")
{
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    verticalScrollBar()->setSingleStep(pixelsAStep);
    m_animation.setDuration(static_cast<int>(wheelTime.count()));
    m_animation.setEasingCurve(QEasingCurve::OutCubic);
    // Whatever else scrolls, scrolls on from where it is.
    connect(verticalScrollBar(), &QScrollBar::actionTriggered, &m_animation, &QAbstractAnimation::stop);
}

void BoardScroll::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    placeHandle();
}

bool BoardScroll::viewportEvent(QEvent *event)
{
    m_handle->raise();
    return QScrollArea::viewportEvent(event);
}

void BoardScroll::placeHandle()
{
    m_handle->setGeometry(width() - handleMargin - handleWidth, 0, handleWidth, height());
}

void BoardScroll::wheelEvent(QWheelEvent *event)
{
    const int angle = event->angleDelta().y();
    if (!event->pixelDelta().isNull() || angle % wheelStep != 0 || angle == 0) {
        m_animation.stop();
        const int pixels = event->pixelDelta().isNull() ? angle * pixelsAStep / wheelStep : event->pixelDelta().y();
        verticalScrollBar()->setValue(verticalScrollBar()->value() - pixels); // a touchpad is smooth by itself
    } else {
        const bool isMoving = m_animation.state() == QAbstractAnimation::Running;
        const int from = isMoving ? m_animation.endValue().toInt() : verticalScrollBar()->value();
        m_animation.stop();
        m_animation.setStartValue(verticalScrollBar()->value());
        m_animation.setEndValue(std::clamp(from - angle / wheelStep * pixelsAStep, 0, verticalScrollBar()->maximum()));
        m_animation.start();
    }
    event->accept();
}
