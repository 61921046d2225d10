#pragma once

#include <QComboBox>
#include <QLineEdit>
#include <QWheelEvent>

/// A text field of the form, with Qt's own menu in Chinese.
class FormInput final : public QLineEdit
{
    Q_OBJECT

public:
    FormInput(const QString &placeholder, QWidget *parent);
};

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

/// The style sheet for whatever holds such fields.
[[nodiscard]] QString formFieldStyle();
