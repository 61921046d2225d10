#include "Plumtide/intake/HookEvent.h"

#include "tests/support/Printing.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QDateTime now({2026, 3, 7}, {9, 41, 5}, Qt::UTC);

std::optional<QString> summaryOf(const QByteArray &toolInput)
{
    const std::optional<HookEvent> event = HookEvent::decode(R"({"tool_input":)" + toolInput + "}");
    return event ? event->toolInputSummary() : u"(not decoded)"_s;
}

} // namespace

TEST(HookEvent, ReadsTheEightKeysAndIgnoresAllOthers)
{
    const auto event = HookEvent::decode(
        R"({"session_id":"s","hook_event_name":"Stop","cwd":"/home/u/shop","tool_name":"Bash","prompt":"你好",)"
        R"("assistant":"ok","tool_input":{"command":"ls"},"tavvel_ts":86400.25,"transcript_path":7,"x":[{}]})");
    ASSERT_TRUE(event);
    EXPECT_EQ(event->sessionId, u"s"_s);
    EXPECT_EQ(event->hookEventName, u"Stop"_s);
    EXPECT_EQ(event->cwd, u"/home/u/shop"_s);
    EXPECT_EQ(event->toolName, u"Bash"_s);
    EXPECT_EQ(event->prompt, u"你好"_s);
    EXPECT_EQ(event->assistant, u"ok"_s);
    EXPECT_EQ(event->toolInputSummary(), u"ls"_s);
    EXPECT_EQ(event->date(now), QDateTime({1970, 1, 2}, {0, 0, 0, 250}, Qt::UTC));

    EXPECT_EQ(HookEvent::decode("{}"), HookEvent());
    EXPECT_EQ(HookEvent::decode(R"({"cwd":null,"tool_input":null,"tavvel_ts":null})"), HookEvent());
    EXPECT_EQ(HookEvent().date(now), now);
}

TEST(HookEvent, AnotherTypeUnderOneKeyFailsTheWholeLine)
{
    const QByteArray wrong[] = {
        R"("session_id":1)",  R"("hook_event_name":["Stop"])", R"("cwd":{})",          R"("tool_name":true)",
        R"("prompt":1)",      R"("assistant":false)",          R"("tool_input":"ls")", R"("tool_input":[1])",
        R"("tavvel_ts":"1")", R"("tavvel_ts":true)",
    };
    for (const QByteArray &member : wrong)
        EXPECT_FALSE(HookEvent::decode(R"({"cwd":"/a",)" + member + "}")) << member.constData();
}

TEST(HookEvent, HostileLinesDoNotDecodeAndDoNoHarm)
{
    const QByteArray lines[] = {
        "",
        " ",
        "[]",
        "\"text\"",
        "1",
        "{",
        "{}x",
        "{\"cwd\":\"\xff\xfe\"}",
        "{\"cwd\":\"\xed\xa0\x80\"}",
        QByteArray(200'000, '['),
        "{\"tool_input\":" + QByteArray(5000, '[') + QByteArray(5000, ']') + "}",
    };
    for (const QByteArray &line : lines)
        EXPECT_FALSE(HookEvent::decode(line)) << line.left(40).constData();
}

TEST(HookEvent, TimesThatCannotBeStoredBecomeNow)
{
    for (const QByteArray time : {"1e300", "-1e300", "1795520548233000", "253402300800", "-62135596801"})
        EXPECT_EQ(HookEvent::decode("{\"tavvel_ts\":" + time + "}")->date(now), now) << time.constData();
    EXPECT_EQ(HookEvent::decode("{\"tavvel_ts\":253402300799}")->date(now).date().year(), 9999);
    HookEvent event;
    event.tavvelTs = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(event.date(now), now);
}

TEST(HookEvent, LoneSurrogatesAndNulsAreReplaced)
{
    const auto event =
        HookEvent::decode(R"({"prompt":"a\ud83d b\u0000 \ud83d\ude00","tool_input":{"command":"\udc00"}})");
    ASSERT_TRUE(event);
    EXPECT_EQ(event->prompt, u"a\uFFFD b\uFFFD 😀"_s);
    EXPECT_EQ(event->toolInputSummary(), u"\uFFFD"_s);
}

TEST(HookEvent, ToolInputKeepsJsonTypesApart)
{
    const auto event = HookEvent::decode(R"({"tool_input":{"t":true,"n":1,"s":"1","o":{"a":[null,2.5]}}})");
    ASSERT_TRUE(event && event->toolInput);
    const JSONValue::Object expected{
        {u"t"_s, {true}},
        {u"n"_s, {1.0}},
        {u"s"_s, {u"1"_s}},
        {u"o"_s, {JSONValue::Object{{u"a"_s, {JSONValue::Array{{JSONValue::Null{}}, {2.5}}}}}}},
    };
    EXPECT_EQ(*event->toolInput, expected);
}

TEST(HookEvent, SummaryIsTheFirstTextThatIsNotEmpty)
{
    const std::pair<QByteArray, std::optional<QString>> cases[] = {
        {R"({"prompt":"p","description":"d","url":"u","pattern":"pa","path":"pt","file_path":"f","command":"c"})",
         u"c"_s},
        {R"({"command":"","file_path":"/a/b"})", u"/a/b"_s},
        {R"({"command":"   ","file_path":"/a/b"})", std::nullopt},
        {R"({"command":5,"url":"http://x"})", u"http://x"_s},
        {R"({"other":"x"})", std::nullopt},
        {R"({})", std::nullopt},
        {"{\"command\":\"" + QByteArray(41, 'a') + "\"}", QString(40, u'a') + u'…'},
    };
    for (const auto &[input, summary] : cases)
        EXPECT_EQ(summaryOf(input), summary) << input.constData();
    EXPECT_EQ(HookEvent().toolInputSummary(), std::nullopt);
}

TEST(HookEvent, SqueezeJoinsLinesTrimsAndCountsCharacters)
{
    const QString family = u"👨‍👩‍👧‍👦"_s;
    const std::pair<QString, std::optional<QString>> cases[] = {
        {u"a\n\n b"_s, u"a  b"_s},
        {u"a\r\nb\u2028c\u0085d\u000Be"_s, u"a b c d e"_s},
        {u"\n\n a\t \n"_s, u"a"_s},
        {u"\u3000\u00A0a\u3000"_s, u"a"_s},
        {u" \n \t\n"_s, std::nullopt},
        {u""_s, std::nullopt},
        {QString(40, u'x'), QString(40, u'x')},
        {QString(41, u'x'), QString(40, u'x') + u'…'},
        {u" \n "_s.repeated(5000) + QString(1'000'000, u'x'), QString(40, u'x') + u'…'},
        {u"a"_s + QString(1'000'000, u' ') + u'\n', u"a"_s},
        {QString(40, u'字'), QString(40, u'字')},
        {family.repeated(40), family.repeated(40)},
        {family.repeated(41), family.repeated(40) + u'…'},
        {u"🇩🇪"_s.repeated(41), u"🇩🇪"_s.repeated(40) + u'…'},
        {u"e\u0301"_s.repeated(41), u"e\u0301"_s.repeated(40) + u'…'},
    };
    for (const auto &[text, squeezed] : cases)
        EXPECT_EQ(HookEvent::squeeze(text, 40), squeezed);
}
