#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/views/DrawnView.h"

#include <optional>

class QComboBox;
class QLineEdit;
class TaskStore;

/// The form in which the user registers a task by hand, or edits any line.
class TaskEditView final : public DrawnView
{
    Q_OBJECT

public:
    /// `editing` is absent for a new task. `store` must outlive the view.
    TaskEditView(TaskStore &store, const std::optional<AgentTask> &editing, Clock clock, QWidget *parent);

    /// Reads the line again that is edited: what the user has not touched is shown, and saved, as it is now.
    void followLine();
    [[nodiscard]] bool isTouched() const; ///< By the user.
    void focusLastField();                ///< The one that had the focus last, or the first.
    /// The controls that can have the focus, from the top to the bottom.
    [[nodiscard]] QList<QWidget *> tabOrder();

Q_SIGNALS:
    void closed(); ///< Saved or cancelled: hide it.

protected:
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    struct Field
    {
        QString label;
        QWidget *control;
        bool isInOwnRow = true; // or to the right of the one before
    };

    [[nodiscard]] QLineEdit *makeInput(const QString &placeholder);
    void fill();
    static void fill(QLineEdit *input, const QString &text);
    [[nodiscard]] bool canSave() const;
    void save();
    void layOut(); // again after a change of the title or the status

    TaskStore &m_store;
    std::optional<AgentTask> m_editing;
    const Clock m_clock;
    QLineEdit *m_title;
    QLineEdit *m_project;
    QComboBox *m_source;
    QComboBox *m_status;
    QLineEdit *m_purpose;
    QLineEdit *m_currentState;
    QLineEdit *m_waitingReason;
    const QList<Field> m_fields;
    bool m_hasChosenSource = false; // the user has
    bool m_hasChosenStatus = false;
};
