#pragma once

#include <QComboBox>
#include <QLineEdit>

/// A text field in the look of the form.
class TextField final : public QLineEdit
{
    Q_OBJECT

public:
    static constexpr int height = 24; ///< Of every control of the form, logical pixels.

    TextField(const QString &placeholder, QWidget *parent);

protected:
    void paintEvent(QPaintEvent *event) override;
};

/// A choice among a few values in the look of the form. No value is chosen when it has an index of -1.
class ChoiceField final : public QComboBox
{
    Q_OBJECT

public:
    ChoiceField(const QStringList &labels, QWidget *parent);

    /// What it shows while its index is -1.
    void setOtherText(const QString &text) { m_otherText = text; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void wheelEvent(QWheelEvent *event) override; ///< Scrolling must not choose.

private:
    QString m_otherText;
};
