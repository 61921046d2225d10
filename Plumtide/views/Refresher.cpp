#include "Plumtide/views/Refresher.h"

#include <QEvent>
#include <QWidget>

Refresher::Refresher(QWidget *view, std::function<void()> refresh)
    : QObject(view), m_view(view), m_refresh(std::move(refresh))
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Refresher::refreshNow);
    view->installEventFilter(this);
}

void Refresher::markStale()
{
    if (!m_timer.isActive() && m_view->isVisible())
        m_timer.start(static_cast<int>(m_nextFrame.remainingTime()));
}

bool Refresher::eventFilter(QObject *object, QEvent *event)
{
    if (event->type() == QEvent::Show)
        refreshNow(); // whether or not something has changed: time has passed
    return QObject::eventFilter(object, event);
}

void Refresher::refreshNow()
{
    m_timer.stop();
    if (!m_view->isVisible())
        return; // hidden meanwhile
    m_refresh();
    m_nextFrame.setRemainingTime(frame);
}
