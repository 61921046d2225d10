#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/system/Environment.h"

#include <QGroupBox>

#include <optional>

class QComboBox;
class QLineEdit;
class QPushButton;
class TaskStore;

/// The form in which the user registers a task by hand, or edits any line.
class TaskEditView final : public QGroupBox
{
    Q_OBJECT

public:
    /// `editing` is absent for a new task. `store` must outlive the view.
    TaskEditView(TaskStore &store, const std::optional<AgentTask> &editing, Clock clock, QWidget *parent);

    /// Reads the edited line from the store again. Fields that the user has changed stay as they are.
    void followLine();
    [[nodiscard]] bool isTouched() const;      ///< By the user.
    void focusLastField();                     ///< The one that had the focus last, or the title.
    [[nodiscard]] QList<QWidget *> tabOrder(); ///< The controls that can have the focus now.

Q_SIGNALS:
    void closed(); ///< The user has saved or cancelled.

private:
    [[nodiscard]] QLineEdit *makeInput(const QString &placeholder);
    void fill();
    static void fill(QLineEdit *input, const QString &text);
    void save();

    TaskStore &m_store;
    std::optional<AgentTask> m_editing;
    const Clock m_clock;
    QPushButton *const m_cancel;
    QPushButton *const m_save;
    QLineEdit *const m_title;
    QLineEdit *const m_project;
    QComboBox *const m_source;
    QComboBox *const m_status;
    QLineEdit *const m_purpose;
    QLineEdit *const m_currentState;
    QLineEdit *const m_waitingReason;
    bool m_hasChosenSource = false; // the user has
    bool m_hasChosenStatus = false;
};
