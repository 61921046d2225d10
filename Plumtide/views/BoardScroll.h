#pragma once

#include <QKeyEvent>
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
    void keyPressEvent(QKeyEvent *event) override { event->ignore(); } ///< The panel's.

    /// QScrollArea's would scroll to the focus a second time, after the panel has.
    bool focusNextPrevChild(bool next) override
    {
        return QWidget::focusNextPrevChild(next); // NOLINT(bugprone-parent-virtual-call): QScrollArea's is left out
    }

private:
    QScrollBar *m_handle;
};
