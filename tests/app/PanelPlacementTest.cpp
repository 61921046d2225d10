#include "Plumtide/app/PanelPlacement.h"

#include "tests/support/Printing.h"

#include <gtest/gtest.h>

TEST(PanelPlacement, StandsBesideTheTrayItemInsideTheFreeArea)
{
    const QRect screen(0, 0, 1280, 800);
    const QRect second(-1920, 0, 1920, 1080); // left of the first
    const QRect belowTop(0, 26, 1280, 774), aboveBottom(0, 0, 1280, 774), besideLeft(48, 0, 1232, 800),
        besideRight(0, 0, 1232, 800);
    const QSize panel(400, 560);
    struct Case
    {
        const char *name;
        std::optional<QPoint> at;
        QRect screen, available;
        QSize size;
        QPoint expected;
    };
    const Case cases[] = {
        {"item in the top bar's corner", QPoint(1267, 13), screen, belowTop, panel, {880, 26}},
        {"item in the middle of the top bar", QPoint(600, 13), screen, belowTop, panel, {400, 26}},
        {"item in the bottom bar", QPoint(1267, 790), screen, aboveBottom, panel, {880, 214}},
        {"item in a bar on the left", QPoint(20, 780), screen, besideLeft, panel, {48, 240}},
        {"item in a bar on the right", QPoint(1260, 400), screen, besideRight, panel, {832, 120}},
        {"a bar that takes no room, above", QPoint(1267, 5), screen, screen, panel, {880, 0}},
        {"a bar that takes no room, below", QPoint(5, 795), screen, screen, panel, {0, 240}},
        {"second screen", QPoint(-10, 1070), second, second.adjusted(0, 0, 0, -30), panel, {-400, 490}},
        {"no point, top bar", {}, screen, belowTop, panel, {880, 26}},
        {"no point, bottom bar", {}, screen, aboveBottom, panel, {880, 214}},
        {"no point, bar on the left", {}, screen, besideLeft, panel, {48, 240}},
        {"no point, bar on the right", {}, screen, besideRight, panel, {832, 240}},
        {"no point, no bar", {}, screen, screen, panel, {880, 0}},
        {"no room, bottom bar", QPoint(300, 290), {0, 0, 320, 300}, {0, 0, 320, 280}, panel, {0, 0}},
        {"no room, bar on the right", QPoint(310, 10), {0, 0, 320, 300}, {0, 0, 290, 300}, panel, {0, 0}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(panelTopLeft(c.at, c.screen, c.available, c.size), c.expected) << c.name;
}
