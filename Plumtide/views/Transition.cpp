#include "Plumtide/views/Transition.h"

#include <QEasingCurve>
#include <QPointF>

#include <chrono>

namespace {

constexpr std::chrono::milliseconds duration{150};

QEasingCurve easeInOut()
{
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(0.42, 0), QPointF(0.58, 1), QPointF(1, 1));
    return curve;
}

} // namespace

Transition::Transition(std::function<void()> moved)
{
    m_animation.setEasingCurve(easeInOut());
    QObject::connect(&m_animation, &QVariantAnimation::valueChanged, &m_animation,
                     [this, moved = std::move(moved)](const QVariant &value) {
                         if (m_animation.state() != QAbstractAnimation::Running)
                             return; // it tells of new ends, too
                         m_amount = value.toDouble();
                         moved();
                     });
}

void Transition::animateTo(bool isOpen)
{
    if (m_isOpen == isOpen)
        return;
    m_isOpen = isOpen;
    m_animation.stop();
    m_animation.setStartValue(m_amount);
    m_animation.setEndValue(isOpen ? 1.0 : 0.0);
    m_animation.setDuration(static_cast<int>(duration.count()));
    m_animation.start();
}

void Transition::jumpTo(bool isOpen)
{
    m_animation.stop();
    m_isOpen = isOpen;
    m_amount = isOpen ? 1 : 0;
}
