#include "Plumtide/views/Drawing.h"
#include "Plumtide/views/HStack.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

constexpr TextStyle style{12, QFont::Normal, Theme::text};

QStringList lines(const TextBlock &block)
{
    QStringList result;
    for (const Drawing::Run &run : block.content.runs)
        result.append(run.text);
    return result;
}

} // namespace

TEST(Theme, AProjectsColourIsAHashOfItsCodePoints)
{
    const struct
    {
        QString name;
        QColor color;
    } cases[] = {
        {u""_s, {107, 140, 174}},        {u"a"_s, {121, 134, 203}}, // 97 % 6 = 1
        {u"ab"_s, {141, 123, 104}},                                 // 3105 % 6 = 3
        {u"𝄞"_s, {107, 140, 174}},       // one code point, 0x1D11E = 119070, not its two halves
        {u"zzzzzzzz"_s, {92, 122, 153}}, // wraps at 2^32
    };
    for (const auto &[name, color] : cases)
        EXPECT_EQ(Theme::projectColor(name), color) << qPrintable(name);
    EXPECT_EQ(Theme::sourceColor(TaskSource::other), Theme::secondary);
}

TEST(LayText, BreaksAndCutsWhereTheRoomEnds)
{
    const QString text = u"一二三四五六七八九十"_s; // 12 pixels each
    const struct
    {
        const char *name;
        double width;
        int maxLines;
        QStringList lines;
        bool isElided;
        double height;
    } cases[] = {
        {"fits", 130, 1, {text}, false, 17},
        {"cut in one line", 60, 1, {u"一二三四…"_s}, true, 17},
        {"two lines hold it", 61, 2, {u"一二三四五"_s, u"六七八九十"_s}, false, 34},
        {"cut in the second line", 49, 2, {u"一二三四"_s, u"五六七…"_s}, true, 34},
        {"three lines", 37, 3, {u"一二三"_s, u"四五六"_s, u"七八…"_s}, true, 51},
        {"as many as it needs", 25, 0, {u"一二"_s, u"三四"_s, u"五六"_s, u"七八"_s, u"九十"_s}, false, 85},
    };
    for (const auto &row : cases) {
        const TextBlock block = layText(text, style, row.width, row.maxLines);
        EXPECT_EQ(lines(block), row.lines) << row.name;
        EXPECT_EQ(block.content.isElided, row.isElided) << row.name;
        EXPECT_EQ(block.size.height(), row.height) << row.name;
        EXPECT_LE(block.size.width(), row.width) << row.name;
        EXPECT_EQ(block.content.text, text) << row.name; // a screen reader hears all of it
    }
    EXPECT_EQ(lines(layText(u"一\n二"_s, style, 100, 1)), QStringList{u"一 二"_s});
    EXPECT_EQ(lines(layText(u"一\n二"_s, style, 100, 3)), (QStringList{u"一"_s, u"二"_s}));
    EXPECT_EQ(lines(layText({}, style, 100, 3)).join(QString()), QString());
}

TEST(HStack, GivesWayInTheToldOrderAndKeepsTheRest)
{
    const auto widths = [](double width) {
        HStack stack(6);
        stack.dot("dot", 4, Theme::text);
        stack.text("second", u"一二三四"_s, style, HStack::Shrink::Second); // 48
        stack.text("first", u"五六七八"_s, style, HStack::Shrink::First);   // 48
        stack.spacer(8);
        stack.room({20, 10});
        Drawing drawing;
        stack.place(drawing, {0, 0}, width);
        return QList<int>{qRound(drawing.items()[1].box.width()), qRound(drawing.items()[2].box.width()),
                          qRound(stack.rooms().first().right())};
    };
    EXPECT_EQ(widths(200), (QList<int>{48, 48, 200})); // the spacer takes what is left
    EXPECT_EQ(widths(132), (QList<int>{48, 28, 132}));
    EXPECT_EQ(widths(90), (QList<int>{34, 0, 90}));
}
