#pragma once

#include <QComboBox>
#include <QWheelEvent>

/// A list of the form to choose from. The wheel scrolls what is around it.
class FormChoice final : public QComboBox
{
    Q_OBJECT

public:
    explicit FormChoice(QWidget *parent);

private:
    void paintEvent(QPaintEvent *event) override;
    void wheelEvent(QWheelEvent *event) override { event->ignore(); }
};

/// The style sheet of the form; the fields are as large as the form's font.
[[nodiscard]] QString formStyle();

/// Has the context menu of text fields in Chinese.
void translateInputMenus();
