#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/system/Environment.h"
#include "Plumtide/views/DrawnView.h"

#include <functional>
#include <optional>

class ChoiceField;
class DrawnButton;
class QLineEdit;
class TaskStore;

/// The form in which the user registers a task by hand, or edits any line.
class TaskEditView final : public DrawnView
{
    Q_OBJECT

public:
    /// `editing` is absent for a new task. `store` must outlive the view.
    TaskEditView(TaskStore &store, const std::optional<AgentTask> &editing, Clock clock, QWidget *parent);

    int layOut(int width) override;
    /// Reads the line again that is edited: what the user has not touched is shown, and saved, as it is now.
    void followLine();
    void focusLastField(); ///< The one that had the focus last, or the first.
    /// The controls that can have the focus, from the top to the bottom.
    [[nodiscard]] QList<QWidget *> tabOrder() const;

Q_SIGNALS:
    void closed(); ///< Saved or cancelled: hide it.

protected:
    void compose(Drawing &drawing) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    struct Field
    {
        const char *labelName;
        QString label;
        QWidget *control;
        bool isInOwnRow = true; // or to the right of the one before
    };

    void fill();
    static void fill(QLineEdit *input, const QString &text);
    [[nodiscard]] bool canSave() const;
    void save();
    void updateState(); // after a change of the title or the status
    double walkFields(double width,
                      const std::function<void(const Field &, const QRectF &label, const QRectF &control)> &visit);

    TaskStore &m_store;
    std::optional<AgentTask> m_editing;
    const Clock m_clock;
    DrawnButton *m_cancel;
    QLineEdit *m_title;
    QLineEdit *m_project;
    ChoiceField *m_source;
    ChoiceField *m_status;
    QLineEdit *m_purpose;
    QLineEdit *m_currentState;
    QLineEdit *m_waitingReason;
    DrawnButton *m_save;
    QList<Field> m_fields;
    bool m_hasChosenSource = false; // the user has
    bool m_hasChosenStatus = false;
};
