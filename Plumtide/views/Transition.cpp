#include "Plumtide/views/Transition.h"

#include <QEasingCurve>
#include <QPointF>

#include <chrono>

namespace {

constexpr std::chrono::milliseconds transitionTime{150};

} // namespace

Transition::Transition(QObject *parent) : QVariantAnimation(parent)
{
    QEasingCurve easeInOut(QEasingCurve::BezierSpline);
    easeInOut.addCubicBezierSegment({0.42, 0}, {0.58, 1}, {1, 1});
    setEasingCurve(easeInOut);
    setDuration(static_cast<int>(transitionTime.count()));
}

void Transition::set(bool isOpen, bool isAnimated)
{
    if (m_isOpen == isOpen)
        return;
    m_isOpen = isOpen;
    stop();
    if (isAnimated) {
        setStartValue(m_amount);
        setEndValue(isOpen ? 1.0 : 0.0);
        start();
    } else {
        m_amount = isOpen ? 1 : 0;
    }
    Q_EMIT moved();
}

void Transition::updateCurrentValue(const QVariant &value)
{
    if (state() != Running)
        return; // it tells of new ends, too
    m_amount = value.toDouble();
    Q_EMIT moved();
}
