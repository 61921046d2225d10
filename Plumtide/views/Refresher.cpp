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
    m_isStale = true;
    if (m_timer.isActive() || !m_view->isVisible())
        return;
    m_timer.start(static_cast<int>(m_nextFrame.remainingTime()));
}

bool Refresher::eventFilter(QObject *object, QEvent *event)
{
    if (event->type() == QEvent::Show) {
        m_isStale = true; // at least time has passed
        refreshNow();
    }
    return QObject::eventFilter(object, event);
}

void Refresher::refreshNow()
{
    m_timer.stop();
    if (!m_isStale || !m_view->isVisible())
        return; // hidden meanwhile: it stays stale
    m_isStale = false;
    m_refresh();
    m_nextFrame.setRemainingTime(frame);
}
