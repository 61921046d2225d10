#pragma once

#include "Plumtide/model/ProjectGroup.h"
#include "Plumtide/views/DrawnView.h"

/// The heading of a section of the board: a dot, the label and the number of projects.
class SectionHeading final : public DrawnView
{
    Q_OBJECT

public:
    SectionHeading(ProjectSection section, QWidget *parent);

    void setCount(qsizetype groups);
    int layOut(int width) override;

protected:
    void compose(Drawing &drawing) override;

private:
    const ProjectSection m_section;
    qsizetype m_count = 0;
};
