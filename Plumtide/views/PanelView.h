#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/views/PanelHeader.h"

#include <QPointer>
#include <QScrollArea>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <optional>

class BoardView;
class DrawnView;
class HooksInstaller;
class TaskEditView;
class TaskStore;

/// The whole content of the panel: header, scrolling board and footer; or the task edit form in their place.
/// Owns no task data; what it shows is read again after each change, and only while it is visible. The unfolded line,
/// the folded projects, the place of the scrolling, the focus and a half filled form stay as they are meanwhile.
class PanelView final : public QWidget
{
    Q_OBJECT

public:
    static constexpr QSize fixedSize{400, 560}; ///< Logical pixels.

    /// `store` and `installer` must outlive the view.
    PanelView(TaskStore &store, HooksInstaller &installer, Clock clock);

    void setMiniBoardOn(bool isOn); ///< What the switch shows.

    /// Scrolls to a line of the store and unfolds it, whatever was shown before. A form that was begun stays above it.
    void showLine(const QString &id);

    void run(const Command &command);          ///< Given by a button, a key or a menu.
    void showMessage(const QString &sentence); ///< For a moment, above the board, or below the form.

Q_SIGNALS:
    void sessionRequested(const QString &id);
    void miniBoardSwitched(bool isOn); ///< By the user.
    void quitRequested();

protected:
    void paintEvent(QPaintEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent *event) override; ///< Scrolling and Shift+F10, wherever the focus is.

private:
    void refresh();
    void addKeys();
    void updateHeader();
    void updateFooter();
    void edit(const std::optional<AgentTask> &task); // a new one when it is absent
    void closeEditor();
    void showParts(bool isShown);
    void setMessageVisible(bool isShown);
    void keepInPlace(const std::function<void()> &change);
    void bringIntoView(const QString &id);
    void focusOn(QWidget *control, Qt::FocusReason reason);
    [[nodiscard]] QWidget *controlAfter(QWidget *from, bool next);
    [[nodiscard]] int yOnBoard(const QWidget *control) const; // -1 where it is not on the board

    TaskStore &m_store;
    HooksInstaller &m_installer;
    const Clock m_clock;
    int m_urgent; // lines, when it was last refreshed
    std::optional<PanelHeader> m_shownHeader;
    UndoAction *m_undo;
    DrawnView *m_header;
    QScrollArea *m_scroll;
    BoardView *m_board;
    DrawnView *m_footer;
    DrawnView *m_message;
    QTimer m_messageTimer{this};
    std::optional<PanelFooter> m_shownFooter;
    bool m_isMiniBoardOn = false;
    TaskEditView *m_editor = nullptr; // null while the board is shown
    QPointer<QWidget> m_openedBy;     // the control that the form was opened by
    int m_lostFocusY = -1;            // where on the board the focus was, when the panel has it instead
};
