#include "Plumtide/app/PanelPlacement.h"
#include "Plumtide/app/PanelWindow.h"

#include "tests/support/TestHome.h"

#include <QApplication>
#include <QComboBox>
#include <QTest>

using namespace std::chrono_literals;

TEST(Panel, IsPlacedInTheFreeAreaAtTheClickOrTheBar)
{
    const QRect screen(0, 0, 1280, 800), second(-1920, 0, 1920, 1080), small(0, 0, 320, 300);
    // The click or the item's place, the screen, what is free of it, and where the panel stands.
    const std::tuple<QRect, QRect, QRect, QPoint> rows[] = {
        {{1267, 13, 1, 1}, screen, screen.adjusted(0, 26, 0, 0), {880, 26}},
        {{1267, 400, 1, 1}, screen, screen, {880, 240}},   // a bar that takes no room
        {{1200, 780, 20, 20}, screen, screen, {880, 220}}, // which the panel must not cover
        {{-10, 1070, 1, 1}, second, second.adjusted(0, 0, 0, -30), {-400, 490}},
        {{}, screen, screen, {880, 0}},
        {{300, 290, 1, 1}, small, small.adjusted(0, 0, 0, -20), {0, 0}}, // no room
    };
    for (const auto &[item, on, available, expected] : rows)
        EXPECT_EQ(panelTopLeft(item, on, available, {400, 560}), expected);
}

TEST(Panel, OpensAndClosesByClicksAndStaysWhileAListIsOpen)
{
    std::chrono::steady_clock::time_point now{1h};
    auto *const content = new QWidget;
    auto *const list = new QComboBox(content);
    list->addItem("一");
    PanelWindow panel(content, [&] { return now; });
    QWidget other;
    const auto isOpen = [&] { return panel.isVisible() && QTest::qWaitForWindowActive(&panel); };
    const auto isClosed = [&] { return waitUntil([&] { return !panel.isVisible(); }); };
    const auto activateOther = [&](std::chrono::milliseconds after) {
        now += after;
        other.hide();
        other.show();
        other.activateWindow();
        QCoreApplication::processEvents();
    };
    panel.toggle();
    EXPECT_TRUE(isOpen());
    panel.toggle();
    EXPECT_FALSE(panel.isVisible());
    activateOther(0ms); // this platform tells of no focus that goes with a window
    panel.toggle();
    EXPECT_TRUE(isOpen());
    activateOther(249ms);
    EXPECT_TRUE(isOpen()) << "the window manager's doing, while it opens";
    activateOther(1s);
    EXPECT_TRUE(isClosed());
    now += 199ms;
    panel.toggle();
    EXPECT_FALSE(panel.isVisible()) << "the click that took the focus away closes it";
    now += 1ms;
    panel.toggle();
    EXPECT_TRUE(isOpen());
    list->showPopup();
    activateOther(1s);
    EXPECT_TRUE(waitUntil([&] { return other.isActiveWindow(); }) && panel.isVisible());
    list->hidePopup();
    EXPECT_TRUE(isClosed()) << "the focus has gone elsewhere meanwhile";
}
