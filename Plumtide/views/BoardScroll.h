#pragma once

#include <QPropertyAnimation>
#include <QScrollArea>

class ScrollHandle;

/// The scroll area of the board: the handle lies over the content, so that the content is equally wide with and
/// without one; a wheel's steps are smooth.
class BoardScroll final : public QScrollArea
{
    Q_OBJECT

public:
    explicit BoardScroll(QWidget *parent);

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool viewportEvent(QEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    void placeHandle();

    ScrollHandle *m_handle;
    QPropertyAnimation m_animation;
};
