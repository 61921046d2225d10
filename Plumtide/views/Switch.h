#pragma once

#include "Plumtide/views/DrawnButton.h"

/// A label with an on/off switch behind it.
class Switch final : public DrawnButton
{
    Q_OBJECT

public:
    Switch(const QString &label, const TextStyle &style, QWidget *parent);

protected:
    QSizeF compose(Drawing &drawing, double width) override;

private:
    TextStyle m_style;
};
