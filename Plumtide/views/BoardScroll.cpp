#include "Plumtide/views/BoardScroll.h"

#include "Plumtide/views/Theme.h"

#include <QScrollBar>

using namespace Qt::StringLiterals;

namespace {

constexpr int handleWidth = 6;
constexpr int handleMargin = 3; // to the right edge of the panel, which is one more
constexpr int handleEnds = 2;   // above and below it, at both ends
constexpr int pixelsAStep = 20;

} // namespace

BoardScroll::BoardScroll(QWidget *parent) : QScrollArea(parent), m_handle(new QScrollBar(Qt::Vertical, this))
{
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    QScrollBar *bar = verticalScrollBar();
    bar->setSingleStep(pixelsAStep);
    m_handle->setStyleSheet(u"QScrollBar { background: transparent; border: none; margin: %1px 0px; }"
                            "QScrollBar::handle { background: %2; border-radius: %3px; min-height: 24px; }"
                            "QScrollBar::add-line, QScrollBar::sub-line { height: 0px; }"_s.arg(handleEnds)
                                .arg(Theme::scrollHandle.name())
                                .arg(handleWidth / 2));
    connect(bar, &QScrollBar::rangeChanged, m_handle, [this, bar](int from, int to) {
        m_handle->setRange(from, to);
        m_handle->setPageStep(bar->pageStep());
        m_handle->setVisible(to > from);
    });
    connect(bar, &QScrollBar::valueChanged, m_handle, &QScrollBar::setValue);
    connect(m_handle, &QScrollBar::valueChanged, bar, &QScrollBar::setValue);
    m_handle->hide();
}

void BoardScroll::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    m_handle->setGeometry(width() - handleMargin + 1 - handleWidth, 0, handleWidth, height());
    m_handle->raise();
}
