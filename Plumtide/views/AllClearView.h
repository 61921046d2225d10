#pragma once

#include "Plumtide/views/DrawnView.h"

#include <optional>

/// Says that nothing waits for the user; or, while a source is connected and silent, what makes it appear.
class AllClearView final : public DrawnView
{
    Q_OBJECT

public:
    explicit AllClearView(QWidget *parent);

    void setHintSource(std::optional<TaskSource> source); ///< `other` counts as absent.
    int layOut(int width) override;

protected:
    void compose(Drawing &drawing) override;

private:
    double drawContent(Drawing &drawing, double width) const; // the height

    std::optional<TaskSource> m_hintSource;
    int m_width = 0; // of the last `layOut`; 0 when it counts no more
    int m_height = 0;
};
