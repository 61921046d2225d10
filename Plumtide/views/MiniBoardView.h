#pragma once

#include "Plumtide/views/DrawnView.h"

class HooksInstaller;
class TaskStore;

/// The content of the floating mini board: whether anything waits, and the first three lines that do. As high as its
/// rows, with a margin for its shadow. Its commands are `OpenPanel`, and those of a line that need a window.
class MiniBoardView final : public DrawnView
{
    Q_OBJECT

public:
    static constexpr int fixedWidth = 240; ///< Of the board. Logical pixels, as all here.
    static constexpr int cornerRadius = 11;
    static constexpr int shadowMargin = 12;

    /// Both must outlive the view.
    MiniBoardView(TaskStore &store, HooksInstaller &installer);

    [[nodiscard]] QSize sizeHint() const override { return size(); }

private:
    [[nodiscard]] QString headerText(qsizetype waiting) const;
    void refresh();

    TaskStore &m_store;
    HooksInstaller &m_installer;
};
