#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/system/Environment.h"

#include <QPointer>
#include <QWidget>

#include <optional>

class BoardScroll;
class BoardView;
class HooksInstaller;
class PanelFooter;
class PanelHeader;
class Refresher;
class TaskEditView;
class TaskStore;

/// The whole content of the panel: header, scrolling board and footer; or the task edit form in their place.
/// Owns no task data; what it shows is read again after each change, and only while it is visible. The unfolded line,
/// the folded projects, the place of the scrolling, the focus and a half filled form stay as they are meanwhile.
/// Thread: main thread.
class PanelView final : public QWidget
{
    Q_OBJECT

public:
    static constexpr QSize fixedSize{400, 560}; ///< Logical pixels.

    /// `store` and `installer` must outlive the view.
    PanelView(TaskStore &store, HooksInstaller &installer, Clock clock, QWidget *parent = nullptr);

    void setMiniBoardOn(bool isOn); ///< What the switch shows.

    /// Opens the form; for a new task when `task` is absent.
    void edit(const std::optional<AgentTask> &task);
    void closeEditor();

    [[nodiscard]] BoardView &board() const { return *m_board; }

Q_SIGNALS:
    void miniBoardSwitched(bool isOn); ///< By the user.
    void quitRequested();

protected:
    void paintEvent(QPaintEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void showEvent(QShowEvent *event) override;
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent *event) override; ///< Scrolls the board, wherever the focus is.

private:
    void refresh();
    void layOut();
    [[nodiscard]] QList<QWidget *> tabOrder() const;

    TaskStore &m_store;
    const Clock m_clock;
    PanelHeader *m_header;
    BoardScroll *m_scroll;
    BoardView *m_board;
    PanelFooter *m_footer;
    TaskEditView *m_editor = nullptr; // null while the board is shown
    QPointer<QWidget> m_openedBy;     // the control that the form was opened by
    Refresher *m_refresher;
};
