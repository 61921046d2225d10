#include "Plumtide/hooks/ClaudeSettings.h"

#include "Plumtide/hooks/JsonTree.h"
#include "tests/support/Printing.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <clocale>

using namespace Qt::StringLiterals;
using ClaudeSettings::Refusal;

namespace {

const QString command = u"/home/user/.tavvel/hooks/tavvel-hook.sh"_s;
const QByteArray entry = R"({"hooks":[{"command":"/home/user/.tavvel/hooks/tavvel-hook.sh","type":"command"}]})";

QByteArray edited(const QByteArray &settings)
{
    const ClaudeSettings::Result result = ClaudeSettings::edit(settings, command);
    const auto *content = std::get_if<QByteArray>(&result);
    EXPECT_TRUE(content) << settings.left(200).constData();
    return content ? *content : QByteArray();
}

// Without what is the same in all of them.
std::string sentenceFor(const QByteArray &settings)
{
    const ClaudeSettings::Result result = ClaudeSettings::edit(settings, command);
    const auto *failure = std::get_if<Failure>(&result);
    QString sentence = failure ? failure->sentence : QString();
    EXPECT_TRUE(sentence.startsWith(u"settings.json "_s) && sentence.endsWith(u"，这次没有改动。"_s));
    return sentence.mid(14).chopped(qMin(8, sentence.size())).toStdString();
}

// The value of an event after the edit of a file that held `value` for it, as compact JSON.
QByteArray eventAfter(const char *name, const QByteArray &value)
{
    const QByteArray settings = value.isEmpty() ? "{}" : R"({"hooks":{")" + QByteArray(name) + "\":" + value + "}}";
    const QJsonValue after = QJsonDocument::fromJson(edited(settings))[u"hooks"_s][QLatin1StringView(name)];
    const QByteArray wrapped = QJsonDocument(QJsonArray{after}).toJson(QJsonDocument::Compact);
    return wrapped.sliced(1, wrapped.size() - 2);
}

QByteArray withoutBlanks(QByteArray text)
{
    return text.replace('\n', "").replace(' ', "");
}

} // namespace

TEST(ClaudeSettings, NewFileHoldsTheSixEventsInOneForm)
{
    QByteArray expected = "{\n  \"hooks\": {\n";
    for (const char *name :
         {"PermissionRequest", "PostToolUse", "SessionEnd", "SessionStart", "Stop", "UserPromptSubmit"}) {
        expected += "    \"" + QByteArray(name)
            + "\": [\n      {\n        \"hooks\": [\n          {\n"
              "            \"command\": \"/home/user/.tavvel/hooks/tavvel-hook.sh\",\n"
              "            \"type\": \"command\"\n          }\n        ]\n      }\n    ],\n";
    }
    expected.chop(2);
    expected += "\n  }\n}\n";
    for (const char *settings : {"", "{}", "\xEF\xBB\xBF{}", " \r\n{ }\r\n"})
        EXPECT_EQ(edited(settings), expected) << settings;
}

TEST(ClaudeSettings, EachEventGetsTheHookOnceAndOddOnesStay)
{
    struct Case
    {
        const char *name;
        QByteArray before;
        QByteArray after;
    };
    const QByteArray other = R"({"hooks":[{"command":"notify-send","type":"command"}],"matcher":"Bash"})";
    const QByteArray elsewhere = R"({"hooks":[{"command":"x"},{"command":"/opt/tavvel-hook.sh --old"}]})";
    const Case cases[] = {
        {"missing", "", "[" + entry + "]"},
        {"empty list", "[]", "[" + entry + "]"},
        {"after another tool's", "[" + other + "]", "[" + other + "," + entry + "]"},
        {"registered elsewhere, not updated", "[" + other + "," + elsewhere + "]", "[" + other + "," + elsewhere + "]"},
        {"text", "\"x\"", "\"x\""},
        {"null", "null", "null"},
        {"object", R"({"hooks":[]})", R"({"hooks":[]})"},
        {"list with a text in it", R"([{},"tavvel-hook.sh"])", R"([{},"tavvel-hook.sh"])"},
        {"entry without hooks", R"([{"matcher":"tavvel-hook.sh"}])", R"([{"matcher":"tavvel-hook.sh"},)" + entry + "]"},
        {"entry whose hooks are mixed", R"([{"hooks":[{"command":"tavvel-hook.sh"},1]}])",
         R"([{"hooks":[{"command":"tavvel-hook.sh"},1]},)" + entry + "]"},
        {"command that is a list", R"([{"hooks":[{"command":["tavvel-hook.sh"]}]}])",
         R"([{"hooks":[{"command":["tavvel-hook.sh"]}]},)" + entry + "]"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(eventAfter("Stop", c.before), c.after) << c.name;
    EXPECT_EQ(eventAfter("Notification", "[1]"), "[1]");
    EXPECT_EQ(QJsonDocument::fromJson(edited(R"({"hooks":{"Stop":"x"}})"))[u"hooks"_s].toObject().size(), 6);
}

TEST(ClaudeSettings, OtherValuesKeepEveryDigitAndEveryCharacter)
{
    const QByteArray numbers = "[0,-0,1.0,1e5,1E+05,-0.0,9007199254740993,18446744073709551615,"
                               "-9223372036854775808,18446744073709551616,-9223372036854775809,"
                               "123456789012345678901234567890,"
                               "0.100000000000000000000000000001,5e-324,1e-999]";
    EXPECT_TRUE(withoutBlanks(edited(R"({"zz":)" + numbers + "}")).endsWith(R"("zz":)" + numbers + "}"));

    const QByteArray texts = R"({"a\u0000\u001f\b\f\n\r\t\"\\\/":"\ud83d\ude00 é 好 \u2028 )"
                             "\x7f"
                             R"("})";
    const QJsonObject after = QJsonDocument::fromJson(edited(R"({"t":)" + texts + "}")).object();
    EXPECT_EQ(after[u"t"_s].toObject(), QJsonDocument::fromJson(texts).object());
    EXPECT_TRUE(edited(R"({"k":"\u597d/"})").contains("\"k\": \"好/\""));

    // Sorted by bytes of UTF-8, not of UTF-16: U+FF01 stands before U+1F600. Equal keys stay in their order.
    EXPECT_TRUE(withoutBlanks(edited(R"({"😀":1,"！":2,"b":[],"B":{},"a":3,"a":{"y":1,"x":2},"a":null})"))
                    .startsWith(R"({"B":{},"a":3,"a":{"x":2,"y":1},"a":null,"b":[],"hooks":)"));
    EXPECT_TRUE(withoutBlanks(edited(R"({"😀":1,"！":2})")).endsWith(R"("！":2,"😀":1})"));
}

TEST(ClaudeSettings, OfTwoMembersWithOneNameTheLastCounts)
{
    const QByteArray after = withoutBlanks(edited(R"({"hooks":[],"hooks":{"Stop":"x","Stop":[]}})"));
    EXPECT_TRUE(after.startsWith(R"({"hooks":[],"hooks":{"PermissionRequest":[)"));
    EXPECT_TRUE(after.contains(R"("Stop":"x","Stop":[)" + entry + "]"));

    QByteArray many;
    for (int i = 0; i < 100; ++i)
        many += "\"k\":" + QByteArray::number(i) + ',';
    many.chop(1);
    EXPECT_TRUE(withoutBlanks(edited('{' + many + '}')).endsWith(',' + many + '}'));
}

TEST(ClaudeSettings, EditingTheResultAgainChangesNothing)
{
    const QByteArray once = edited(R"({"hooks":{"Stop":[{"hooks":[]}],"PreToolUse":[[1.50]]},"a":{"b":[{}]}})");
    EXPECT_EQ(edited(once), once);
}

TEST(ClaudeSettings, StrangeShapesAreRefused)
{
    using Result = ClaudeSettings::Result;
    const auto is = [](const Result &result, Refusal refusal) {
        return std::holds_alternative<Refusal>(result) && std::get<Refusal>(result) == refusal;
    };
    for (const char *settings : {"[]", R"([{"hooks":{}}])"})
        EXPECT_TRUE(is(ClaudeSettings::edit(settings, command), Refusal::NotAnObject)) << settings;
    for (const char *hooks : {"[]", "null", "\"x\"", "1"})
        EXPECT_TRUE(
            is(ClaudeSettings::edit(R"({"hooks":)" + QByteArray(hooks) + "}", command), Refusal::HooksNotAnObject))
            << hooks;
}

TEST(ClaudeSettings, WhatCannotBeKeptExactlyIsRefusedWithASentence)
{
    struct Case
    {
        const char *name;
        QByteArray settings;
        std::string sentence;
    };
    const auto notJson = [](int line) { return "第 " + std::to_string(line) + " 行附近不是有效的 JSON"; };
    const Case cases[] = {
        {"cut short", "{\n\"a\":\n{\"b\"", notJson(3)},
        {"text at the top", "\"x\"", "的最外层既不是对象也不是数组"},
        {"number at the top", "1", "的最外层既不是对象也不是数组"},
        {"only blanks", " \n", notJson(2)},
        {"comment", "{\n// a\n}", notJson(2)},
        {"comma too many", "{\"a\":1,\n}", notJson(2)},
        {"line feed inside a text", "{\"a\":\"\n\"}", notJson(1)},
        {"something after it", "{}\n{}", notJson(2)},
        {"NUL and something after it", QByteArray("{}\n\0garbage", 11), notJson(2)},
        {"half a surrogate pair", R"({"a":"\ud83d"})", notJson(1)},
        {"bytes that are not UTF-8", "{\"a\":\"\xff\"}", notJson(1)},
        {"UTF-16", QByteArray("\xff\xfe{\0}\0", 6), notJson(1)},
        {"number beyond a double", "{\"a\":\n1e999}", "第 2 行有一个过大的数字"},
        {"too large", '"' + QByteArray(JsonTree::maxBytes, 'x') + '"', "内容太大，超过了 16 MiB"},
        {"too large when indented", "{\"m\":[" + QByteArray("{\"a\":[1]},").repeated(400'000) + "1]}",
         "内容太大，超过了 16 MiB"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(sentenceFor(c.settings), c.sentence) << c.name;
}

TEST(ClaudeSettings, AMillionLevelsNeedNoStack)
{
    constexpr int levels = 1'000'000;
    const QByteArray deep = QByteArray("[{\"a\":").repeated(levels) + "1" + QByteArray("}]").repeated(levels);
    EXPECT_TRUE(withoutBlanks(edited("{\"z\":" + deep + "}")).endsWith("\"z\":" + deep + "}"));
}

TEST(ClaudeSettings, DecimalPointIsNotTheUsersLocale)
{
    QTemporaryDir locales;
    ASSERT_EQ(QProcess::execute(u"localedef"_s,
                                {u"-i"_s, u"de_DE"_s, u"-f"_s, u"UTF-8"_s, locales.filePath(u"de_DE.UTF-8"_s)}),
              0);
    qputenv("LOCPATH", locales.path().toUtf8());
    const std::string before = std::setlocale(LC_ALL, nullptr);
    ASSERT_TRUE(std::setlocale(LC_ALL, "de_DE.UTF-8"));
    const QByteArray after = edited(R"({"z":1.5})");
    std::setlocale(LC_ALL, before.c_str());
    qunsetenv("LOCPATH");
    EXPECT_TRUE(after.contains("\"z\": 1.5"));
}

TEST(ClaudeSettings, ShellRunsTheScriptWhateverItsPath)
{
    for (const QString &name : {u"plain-1.2_3+4,5:6@7%8=9"_s, u"用户 é"_s, u"用户"_s, u"two  words"_s, u"o'brien's"_s,
                                u"$HOME`id`\"(x)"_s, u"a\\b;c&d|e<f>*?[!]{1,2}~#"_s, u"line\nfeed\ttab"_s}) {
        QTemporaryDir dir;
        const QString path = dir.filePath(name) + u"/tavvel-hook.sh"_s;
        ASSERT_TRUE(QDir().mkpath(dir.filePath(name)));
        QFile script(path);
        ASSERT_TRUE(script.open(QFile::WriteOnly) && script.write("#!/bin/sh\nprintf '%s' \"$#$0\"\n") > 0);
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        script.close();

        const QString line = ClaudeSettings::shellCommand(path);
        QProcess shell;
        shell.start(u"/bin/sh"_s, {u"-c"_s, line});
        ASSERT_TRUE(shell.waitForFinished());
        EXPECT_EQ(shell.readAllStandardOutput(), u"0%1"_s.arg(path).toUtf8()) << qPrintable(line);
        EXPECT_TRUE(line.contains(u"tavvel-hook.sh"_s));
    }
    EXPECT_EQ(ClaudeSettings::shellCommand(command), command);
    EXPECT_EQ(ClaudeSettings::shellCommand(u"/家/h.sh"_s), u"/家/h.sh"_s);
}
