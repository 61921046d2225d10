#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/DrawnView.h"

#include <QList>

#include <optional>

class HooksInstaller;
class MiniBoardRow;
class Refresher;
class TaskStore;

/// The content of the floating mini board: whether anything waits, and the first three lines that do. As high as its
/// rows; its size hint is its size.
class MiniBoardView final : public DrawnView
{
    Q_OBJECT

public:
    static constexpr int fixedWidth = 240; ///< Logical pixels.
    static constexpr int cornerRadius = 11;

    /// Both must outlive the view.
    MiniBoardView(TaskStore &store, HooksInstaller &installer, QWidget *parent = nullptr);

    int layOut(int width) override;
    [[nodiscard]] QSize sizeHint() const override { return size(); }

Q_SIGNALS:
    void mainPanelRequested(); ///< A row was clicked.

protected:
    void compose(Drawing &drawing) override;
    void showEvent(QShowEvent *event) override;

private:
    [[nodiscard]] std::optional<TaskSource> emptyStateHintSource() const;
    [[nodiscard]] QString headerText() const;
    double drawHeader(Drawing &drawing) const; // the height of the header
    void refresh();

    TaskStore &m_store;
    HooksInstaller &m_installer;
    QList<AgentTask> m_waiting;
    QList<MiniBoardRow *> m_rows; // one for each line that can be shown; unused ones are hidden
    QString m_headerText;
    double m_moreTop = 0;
    Refresher *m_refresher;
};
