#pragma once

#include "Plumtide/views/Drawing.h"

/// Offers to connect the tools whose hooks are missing; shows what came of it.
/// With both connected only the message is left.
struct OnboardingBanner
{
    bool needsClaude = false;
    bool needsCodex = false;
    std::optional<QString> message = {};

    bool operator==(const OnboardingBanner &) const = default;

    [[nodiscard]] bool isCard() const { return needsClaude || needsCodex; }
    [[nodiscard]] bool isMessage() const { return message && !isCard(); }
    [[nodiscard]] bool isShown() const { return isCard() || message; }
    [[nodiscard]] Drawing compose(double width) const;
};
