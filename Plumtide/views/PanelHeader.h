#pragma once

#include "Plumtide/views/DrawnView.h"

#include <QList>

class DrawnButton;
class TaskStore;

/// The top of the panel: the title, three live counts, the source filter and the button to register a task by hand.
class PanelHeader final : public DrawnView
{
    Q_OBJECT

public:
    /// The filter acts on `store`, which must outlive the view.
    PanelHeader(TaskStore &store, QWidget *parent);

    void refresh(qsizetype waiting, qsizetype running, qsizetype idle); ///< The numbers of lines, and the filter.
    int layOut(int width) override;

Q_SIGNALS:
    void registerRequested();

protected:
    void compose(Drawing &drawing) override;

private:
    struct SourceFilter
    {
        std::optional<TaskSource> value;
        DrawnButton *chip;
    };

    DrawnButton *sourceChip(const QString &label, std::optional<TaskSource> value, const QString &name);
    void updateChips();
    [[nodiscard]] double sourcePickerTop() const;
    [[nodiscard]] QSizeF sourcePickerSize() const;

    TaskStore &m_store;
    QList<SourceFilter> m_filters;
    std::optional<TaskSource> m_shownFilter;
    DrawnButton *m_register = nullptr;
    qsizetype m_waiting = 0;
    qsizetype m_running = 0;
    qsizetype m_idle = 0;
};
