#include "Plumtide/app/MiniBoardController.h"

#include "Plumtide/desktop/FloatingWindow.h"
#include "Plumtide/system/Log.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

namespace {

// The left and the lower edge of a board that was never moved, from the right and the upper edge of the work area.
constexpr int firstLeft = 280;
constexpr int firstBottom = 140;

constexpr double farthest = 32'767; // of X11's coordinates

} // namespace

void MiniBoardController::setEnabled(bool isEnabled)
{
    const bool isChange = isEnabled != this->isEnabled();
    m_defaults.setBoolean(enabledKey, isEnabled);
    if (isEnabled)
        show();
    else if (m_window)
        m_window->hide();
    if (isChange)
        Q_EMIT enabledChanged(isEnabled);
}

void MiniBoardController::show()
{
    if (!m_window) {
        m_window = std::make_unique<MiniBoardWindow>(m_makeContent());
        const QList<double> stored = m_defaults.numbers(originKey);
        if (stored.size() >= 2)
            m_window->setPlace({qRound(std::clamp(stored[0], -farthest, farthest)),
                                qRound(std::clamp(stored[1], -farthest, farthest))});
        else
            moveToFirstPlace();
        qCDebug(appLog) << "mini board at" << m_window->pos() << "stored:" << stored;
        const auto store = [this](QPoint to) { m_defaults.setNumbers(originKey, {1.0 * to.x(), 1.0 * to.y()}); };
        connect(m_window.get(), &MiniBoardWindow::movedByUser, this, store);
    }
    m_window->showInFront();
}

void MiniBoardController::resetPlace()
{
    m_defaults.remove(originKey);
    if (m_window)
        moveToFirstPlace();
}

void MiniBoardController::moveToFirstPlace()
{
    const QScreen *const screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect available = FloatingWindow::workArea(*screen);
    const int top = std::max(0, firstBottom - m_window->boardSize().height()); // a taller board starts at the edge
    m_window->setPlace({available.x() + available.width() - firstLeft, available.y() + top});
}
