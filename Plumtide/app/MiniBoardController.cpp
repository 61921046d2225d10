#include "Plumtide/app/MiniBoardController.h"

#include "Plumtide/app/Log.h"
#include "Plumtide/desktop/FloatingWindow.h"
#include "Plumtide/system/Defaults.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

const QString enabledKey = u"miniBoardEnabled"_s;

// The left and the lower edge of a board that nobody has moved yet, from the right and the upper edge of the room
// that the desktop's bars leave.
constexpr int firstLeft = 280;
constexpr int firstBottom = 140;

int coordinate(double value)
{
    constexpr double limit = 32'767; // what X11 can say
    return static_cast<int>(std::lround(std::clamp(value, -limit, limit)));
}

} // namespace

MiniBoardController::MiniBoardController(Defaults &defaults, MakeContent makeContent,
                                         std::function<void()> openMainPanel, QObject *parent)
    : QObject(parent),
      m_defaults(defaults),
      m_makeContent(std::move(makeContent)),
      m_openMainPanel(std::move(openMainPanel))
{
}

MiniBoardController::~MiniBoardController() = default;

void MiniBoardController::applyPreference()
{
    setEnabled(isEnabled());
}

bool MiniBoardController::isEnabled()
{
    return m_defaults.boolean(enabledKey);
}

void MiniBoardController::setEnabled(bool isEnabled)
{
    const bool isChange = isEnabled != this->isEnabled();
    m_defaults.setBoolean(enabledKey, isEnabled);
    if (isEnabled)
        show();
    else if (m_panel)
        m_panel->hide();
    if (isChange)
        Q_EMIT enabledChanged(isEnabled);
}

void MiniBoardController::show()
{
    if (!m_panel) {
        m_panel = std::make_unique<MiniBoardWindow>(m_makeContent());
        const std::optional<QPoint> stored = storedPlace();
        const QPoint place = stored ? *stored : firstPlace(m_panel->boardSize().height()).value_or(m_panel->pos());
        qCDebug(appLog) << "mini board at" << place << "stored:" << stored.has_value();
        m_panel->setPlace(place);
        const auto store = [this](QPoint to) { m_defaults.setNumbers(originKey, {1.0 * to.x(), 1.0 * to.y()}); };
        connect(m_panel.get(), &MiniBoardWindow::movedByUser, this, store);
    }
    m_panel->showInFront();
}

void MiniBoardController::resetPlace()
{
    m_defaults.remove(originKey);
    if (!m_panel)
        return;
    if (const std::optional<QPoint> place = firstPlace(m_panel->boardSize().height()))
        m_panel->setPlace(*place);
}

std::optional<QPoint> MiniBoardController::storedPlace()
{
    const std::optional<QList<double>> origin = m_defaults.numbers(originKey);
    if (!origin || origin->size() < 2)
        return std::nullopt;
    return QPoint(coordinate(origin->at(0)), coordinate(origin->at(1)));
}

std::optional<QPoint> MiniBoardController::firstPlace(int height) const
{
    const QScreen *const screen = QGuiApplication::primaryScreen();
    if (!screen)
        return std::nullopt;
    const QRect available = FloatingWindow::workArea(*screen);
    const int top = std::max(0, firstBottom - height); // a taller board starts at the edge
    return QPoint(available.x() + available.width() - firstLeft, available.y() + top);
}
