#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/DrawnView.h"

#include <QDateTime>
#include <QElapsedTimer>

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

    /// While a button is held it keeps acting on the line that it was pressed for. After another line has come, no
    /// press counts for as long as a double click may take: it was meant for the one before.
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
    std::optional<AgentTask> m_pressed; // what the button acts on that is held
    QElapsedTimer m_sinceChange;        // of the line
    QDateTime m_now;
    CopyButton *m_copy;
    DrawnButton *m_edit;
    DrawnButton *m_close;
    int m_width = 0;
    bool m_isLaidOut = false; // for m_width
    int m_height = 0;
    double m_buttonsTop = 0;
};
