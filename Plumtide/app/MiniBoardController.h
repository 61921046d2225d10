#pragma once

#include "Plumtide/app/MiniBoardWindow.h"

#include <QObject>
#include <QPoint>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class Defaults;

/// Shows the mini board when the user wants it, where the user has left it.
/// Defaults: `miniBoardEnabled` (boolean) and `miniBoardOrigin` (x and y of the top left corner, logical screen pixels,
/// y downwards). The origin is used as it is, on a screen or not; `resetPlace`, or removing its line while the program
/// does not run, brings a lost board back.
/// Thread: main thread.
class MiniBoardController final : public QObject
{
    Q_OBJECT

public:
    using MakeContent = std::function<MiniBoardWindow::Content()>;
    static inline const QString originKey = QStringLiteral("miniBoardOrigin"); ///< The default that holds the place.

    /// `defaults` must outlive it. `makeContent` is called once, before the first show.
    /// `openMainPanel` is what a click in the board may ask for.
    MiniBoardController(Defaults &defaults, MakeContent makeContent, std::function<void()> openMainPanel,
                        QObject *parent = nullptr);
    ~MiniBoardController() override;

    void applyPreference();          ///< Once, when the event loop runs. Writes the preference back.
    [[nodiscard]] bool isEnabled();  ///< The preference.
    void setEnabled(bool isEnabled); ///< Writes the preference, then shows or hides.

    void show(); ///< In front of everything, without activating it.

    /// Forgets where the user has left the board; one that exists goes to the first place.
    void resetPlace();

    void openMainPanel() { m_openMainPanel(); }

Q_SIGNALS:
    void enabledChanged(bool isEnabled); ///< By `setEnabled`.

private:
    [[nodiscard]] std::optional<QPoint> storedPlace();
    [[nodiscard]] std::optional<QPoint> firstPlace(int height) const; // none without a screen

    Defaults &m_defaults;
    const MakeContent m_makeContent;
    const std::function<void()> m_openMainPanel;
    std::unique_ptr<MiniBoardWindow> m_panel; // null until it is first shown; then the same for good
};
