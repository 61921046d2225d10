#pragma once

#include <QVariantAnimation>

/// The way from closed (0) to open (1) and back: 0.15 s, slow at both ends. `moved` tells of each step.
/// Thread: main thread. It has a timer only while it is on the way.
class Transition final : public QVariantAnimation
{
    Q_OBJECT

public:
    explicit Transition(QObject *parent);

    [[nodiscard]] double amount() const { return m_amount; }
    [[nodiscard]] bool isOpen() const { return m_isOpen; } ///< Or on the way there.
    [[nodiscard]] bool isClosed() const { return !m_isOpen && m_amount == 0; }
    void set(bool isOpen, bool isAnimated);

Q_SIGNALS:
    void moved();

protected:
    void updateCurrentValue(const QVariant &value) override;

private:
    double m_amount = 0;
    bool m_isOpen = false;
};
