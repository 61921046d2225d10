#pragma once

#include <QVariantAnimation>

#include <functional>

/// The way from closed (0) to open (1) and back: 0.15 s, slow at both ends.
/// Thread: main thread. It has a timer only while it is on the way.
class Transition
{
public:
    /// `moved` is called at each step, with `amount` new.
    explicit Transition(std::function<void()> moved);

    [[nodiscard]] double amount() const { return m_amount; }
    [[nodiscard]] bool isOpen() const { return m_isOpen; } ///< Or on the way there.

    void animateTo(bool isOpen);
    void jumpTo(bool isOpen); ///< Without steps and without a call of `moved`.

private:
    QVariantAnimation m_animation;
    double m_amount = 0;
    bool m_isOpen = false;
};
