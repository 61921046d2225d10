#include "Plumtide/views/BoardLayout.h"
#include "tests/views/Facts.h"

#include <gtest/gtest.h>

// A half open fold does not cut its lines off, a row that unfolds moves nothing, the next step is listed again, or an
// empty section gets a heading. Of each item its kind, and from where to where it reaches.
TEST(BoardLayout, PlacesWhatIsThere)
{
    QList<AgentTask> lines;
    for (const QString &line : {u"waiting"_s, u"running"_s, u"shelved"_s})
        lines += lineWith(u"cc-%1 0 shop %1 title"_s.arg(line));
    ProjectCardView card;
    card.setGroup({u"shop"_s, lines, 1}, u"cc-waiting"_s, TestHome().now);
    std::vector<BoardItem> items;
    layoutBoard({0, 100, {{{}, {&card}, {}}}}, {{&card, {0.5, {{u"cc-running"_s, 60}}}}}, 398, items);
    QStringList places;
    for (const auto &[kind, box, in, index] : items)
        places += u"%1 %2-%3"_s.arg(static_cast<int>(kind)).arg(box.top()).arg(box.bottom());
    EXPECT_EQ(places.join(u", "_s).toStdString(), "1 14-114, 2 128-145, 3 215-275, 3 283-301, 4 153-335");
}
