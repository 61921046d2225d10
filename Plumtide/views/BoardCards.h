#pragma once

#include "Plumtide/model/AgentTask.h"
#include "Plumtide/views/Drawing.h"

/// What the user has to do next: the first line that waits, large, with the reason and some of its actions. Where
/// nothing waits, it says so; or what makes a silent source appear.
struct FocusCardView
{
    static constexpr int shadowMargin = 20; ///< What its shadow takes around it, logical pixels.

    std::optional<AgentTask> line;
    QString age;                                 ///< Of the line, as it is shown.
    std::optional<TaskSource> silentSource = {}; ///< Connected and not heard of yet; `other` counts as absent.

    bool operator==(const FocusCardView &) const = default;

    [[nodiscard]] Drawing compose(double width) const;
};

/// Offers to connect the tools whose hooks are missing, and says what came of it; with both connected only that.
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
