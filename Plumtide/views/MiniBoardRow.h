#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/DrawnButton.h"

/// A waiting line of the mini board, in one short line that is a button.
class MiniBoardRow final : public DrawnButton
{
    Q_OBJECT

public:
    explicit MiniBoardRow(QWidget *parent);

    void setLine(const AgentTask &line);
    [[nodiscard]] double lineHeight() const; ///< Logical pixels.

protected:
    QSizeF compose(Drawing &drawing, double width) override;

private:
    AgentTask m_line;
};
