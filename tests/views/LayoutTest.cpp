#include "Plumtide/views/BoardLayout.h"
#include "tests/views/Facts.h"

#include <gtest/gtest.h>

// A half open fold does not cut its lines off, a row that unfolds moves nothing, the next step is listed again, or an
// empty section gets a heading. Of each item its kind, and from where to where it reaches.
TEST(BoardLayout, PlacesWhatIsThere)
{
    QList<AgentTask> lines;
    for (const QString line : {"waiting", "running", "shelved"})
        lines += lineWith(QString("cc-%1 0 shop %1 title").arg(line));
    ProjectCardView card;
    card.setGroup({"shop", lines, 1}, "cc-waiting", TestHome().now);
    std::vector<BoardItem> items;
    layoutBoard({0, 100, {{{}, {&card}, {}}}}, {{&card, {0.5, {{"cc-running", 60}}}}}, 398, items);
    QStringList places;
    for (const auto &[kind, box, in, index] : items)
        places += QString("%1 %2-%3").arg(static_cast<int>(kind)).arg(box.top()).arg(box.bottom());
    EXPECT_EQ(places.join(", ").toStdString(), "1 14-114, 2 128-145, 3 215-275, 3 283-301, 4 153-335");
}
