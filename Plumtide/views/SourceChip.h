#pragma once

#include "Plumtide/views/Drawing.h"

/// The small label of a line that says which agent it comes from.
class SourceChip
{
public:
    explicit SourceChip(TaskSource source) : source(source) {}

    const TaskSource source;

    [[nodiscard]] static QString label(TaskSource source); ///< "Claude", "Codex", "其他".
    [[nodiscard]] QSizeF size() const;
    void draw(Drawing &drawing, const char *name, const char *textName, QPointF topLeft) const;
};
