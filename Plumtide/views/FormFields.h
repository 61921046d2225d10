#pragma once

#include <QComboBox>
#include <QWheelEvent>

/// A combo box of the form. It ignores the wheel.
class FormChoice final : public QComboBox
{
    Q_OBJECT

public:
    explicit FormChoice(QWidget *parent);

private:
    void paintEvent(QPaintEvent *event) override;
    void wheelEvent(QWheelEvent *event) override { event->ignore(); }
};

/// The style sheet of the form.
[[nodiscard]] QString formStyle();

/// Translates the context menu of text fields to Chinese.
void translateInputMenus();
