#pragma once

#include <QScrollArea>

class QScrollBar;

/// The scroll area of the board. Its bar lies over the content, so that the content is equally wide with and without.
class BoardScroll final : public QScrollArea
{
    Q_OBJECT

public:
    explicit BoardScroll(QWidget *parent);

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool focusNextPrevChild(bool next) override { return QWidget::focusNextPrevChild(next); } ///< The panel scrolls.
    void keyPressEvent(QKeyEvent *event) override;                                            ///< The panel's.

private:
    QScrollBar *m_handle;
};
