#include "Plumtide/app/MiniBoardController.h"

#include "Plumtide/app/Log.h"
#include "Plumtide/app/MiniBoardWindow.h"
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
    const bool isWanted = isEnabled();
    m_defaults.setBoolean(enabledKey, isWanted);
    isWanted ? show() : hide();
}

bool MiniBoardController::isEnabled()
{
    return m_defaults.boolean(enabledKey);
}

void MiniBoardController::setEnabled(bool isEnabled)
{
    const bool isChange = isEnabled != this->isEnabled();
    m_defaults.setBoolean(enabledKey, isEnabled);
    isEnabled ? show() : hide();
    if (isChange)
        Q_EMIT enabledChanged(isEnabled);
}

void MiniBoardController::show()
{
    if (!m_panel)
        m_panel = makePanel();
    m_panel->showInFront();
}

void MiniBoardController::hide()
{
    if (m_panel)
        m_panel->hide();
}

void MiniBoardController::resetPlace()
{
    m_defaults.remove(originKey);
    if (!m_panel)
        return;
    if (const std::optional<QPoint> place = firstPlace(m_panel->boardSize().height()))
        m_panel->setPlace(*place);
}

void MiniBoardController::openMainPanel()
{
    m_openMainPanel();
}

std::unique_ptr<MiniBoardWindow> MiniBoardController::makePanel()
{
    auto panel = std::make_unique<MiniBoardWindow>(m_makeContent());
    std::optional<QPoint> place = storedPlace();
    if (!place)
        place = firstPlace(panel->boardSize().height());
    qCDebug(appLog) << "mini board at" << place.value_or(panel->pos()) << "stored:" << storedPlace().has_value();
    panel->setPlace(place.value_or(panel->pos()));
    const auto store = [this](QPoint to) { m_defaults.setNumbers(originKey, {1.0 * to.x(), 1.0 * to.y()}); };
    connect(panel.get(), &MiniBoardWindow::movedByUser, this, store);
    return panel;
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
