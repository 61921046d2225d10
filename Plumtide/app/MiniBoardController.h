#pragma once

#include "Plumtide/app/MiniBoardWindow.h"
#include "Plumtide/system/Defaults.h"

#include <functional>
#include <memory>

/// Shows the mini board if the user has switched it on, where the user has put it, even if that is on no screen.
/// Defaults: `miniBoardEnabled` (boolean) and `miniBoardOrigin` (x and y of the top left corner, in logical pixels).
class MiniBoardController final : public QObject
{
    Q_OBJECT

public:
    using MakeContent = std::function<MiniBoardWindow::Content()>;
    static inline const QString originKey = QStringLiteral("miniBoardOrigin"); ///< The default that holds the place.

    /// `defaults` must outlive it. `makeContent` is called once, before the first show.
    MiniBoardController(Defaults &defaults, MakeContent makeContent)
        : m_defaults(defaults), m_makeContent(std::move(makeContent))
    {
    }

    /// Once, when the event loop runs. Writes the preference back.
    void applyPreference() { setEnabled(isEnabled()); }
    [[nodiscard]] bool isEnabled() const { return m_defaults.boolean(enabledKey); } ///< The preference.
    void setEnabled(bool isEnabled); ///< Writes the preference, then shows or hides.
    void resetPlace();               ///< Removes the stored place, and moves the board to the first one.

Q_SIGNALS:
    void enabledChanged(bool isEnabled); ///< By `setEnabled`.

private:
    static inline const QString enabledKey = QStringLiteral("miniBoardEnabled");

    void show();
    void moveToFirstPlace();

    Defaults &m_defaults;
    const MakeContent m_makeContent;
    std::unique_ptr<MiniBoardWindow> m_window; // null until it is first shown
};
