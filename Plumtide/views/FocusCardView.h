#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/DrawnView.h"

#include <QDateTime>

class CopyButton;
class DrawnButton;
class TaskStore;

/// What the user has to do next: the first line that waits, large, with the reason and three quick actions.
/// The card lies `shadowMargin` inside the widget, which gives its shadow room.
class FocusCardView final : public DrawnView
{
    Q_OBJECT

public:
    static constexpr int shadowMargin = 20; ///< Logical pixels.

    /// The last button acts on `store`, which must outlive the view.
    FocusCardView(TaskStore &store, QWidget *parent);

    void setTask(const AgentTask &task, const QDateTime &now);
    int layOut(int width) override; ///< Of the card, without the margins.

Q_SIGNALS:
    void editRequested(const AgentTask &task);

protected:
    void compose(Drawing &drawing) override;

private:
    double drawContent(Drawing &drawing, double width) const; // the y at which the buttons stand
    void placeButtons();

    AgentTask m_task;
    QDateTime m_now;
    CopyButton *m_copy;
    DrawnButton *m_edit;
    DrawnButton *m_close;
    int m_width = 0;
    bool m_isLaidOut = false; // for m_width
    int m_height = 0;
    double m_buttonsTop = 0;
};
