#include "Plumtide/hooks/CodexConfig.h"

#include "Plumtide/hooks/TomlForm.h"
#include "tests/support/Printing.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using CodexConfig::Unchanged;

namespace {

const QString script = u"/h/codex-notify.sh"_s;
const QByteArray line = R"(notify = ["/h/codex-notify.sh"])";
const QByteArray strange = "failed: config.toml 的写法比较特别，自动改动会弄坏它，这次没有改动。";
const QByteArray unreadable = "failed: config.toml 里有没法核对的写法，为避免弄坏它，这次没有改动。";

// One text for each kind of result, so that tables can hold it.
QByteArray outcome(const QByteArray &config)
{
    const CodexConfig::Result result = CodexConfig::edit(config, script);
    if (const auto *failure = std::get_if<Failure>(&result))
        return "failed: " + failure->sentence.toUtf8();
    if (const auto *unchanged = std::get_if<Unchanged>(&result))
        return *unchanged == Unchanged::AlreadyInstalled ? "already" : "foreign";
    const auto &edit = std::get<CodexConfig::Edit>(result);
    return edit.previousCommand.isEmpty() ? edit.content
                                          : edit.previousCommand.join(u'|').toUtf8() + " -> " + edit.content;
}

struct Case
{
    const char *name;
    QByteArray before;
    QByteArray after; // as `outcome` says it
};

} // namespace

TEST(CodexConfig, LineGoesAboveTheFirstHeaderOrToTheEnd)
{
    const Case cases[] = {
        {"no header", "a = 1\n", "a = 1\n\n" + line + "\n"},
        {"no final line feed", "a = 1", "a = 1\n" + line + "\n"},
        {"empty", "", "\n" + line + "\n"},
        {"below root keys", "a = 1\n\n# x\n[t]\nb = 2\n[u]\n", "a = 1\n\n# x\n" + line + "\n[t]\nb = 2\n[u]\n"},
        {"header first", "[t]\nnotify = [\"x\"]\n", line + "\n[t]\nnotify = [\"x\"]\n"},
        {"header first, after a byte order mark", "\xEF\xBB\xBF[t]\n", "\xEF\xBB\xBF" + line + "\n[t]\n"},
        {"array of tables", "[[t]]\n", line + "\n[[t]]\n"},
        {"CRLF kept", "a = 1\r\n[t]\r\n", "a = 1\r\n" + line + "\n[t]\r\n"},
        {"other keys of like names", "notify2 = 1\nnotify-x = 2\nx.notify = 3\n",
         "notify2 = 1\nnotify-x = 2\nx.notify = 3\n\n" + line + "\n"},
        {"notify in a comment", "# notify = [\"x\"]\n", "# notify = [\"x\"]\n\n" + line + "\n"},
        {"not valid TOML", "a = \n[t]\n", "a = \n" + line + "\n[t]\n"},
        {"not valid TOML, key in a table", "a = \n[t]\nnotify = [\"x\"]\n",
         "a = \n" + line + "\n[t]\nnotify = [\"x\"]\n"},
        {"values that are easily changed",
         "a = nan\nb = -inf\nc = 1979-05-27T07:32:00.5-07:00\nd = 0x10\ne = -0.0\n"
         "f = 07:32:00\ng = 1979-05-27\nh = { x = [1, 'a', [true]] }\n",
         "a = nan\nb = -inf\nc = 1979-05-27T07:32:00.5-07:00\nd = 0x10\ne = -0.0\n"
         "f = 07:32:00\ng = 1979-05-27\nh = { x = [1, 'a', [true]] }\n\n"
             + line + "\n"},
        {"bracket inside a string over several lines", "a = '''\n[t]\n'''\n", strange},
        {"bracket inside an array over several lines", "a = [\n[1],\n]\n", strange},
        {"the same with an inline table", "a = [\n[1],\n]\nb = { c = 1, d.\"é\" = [{ e = 2 }, '好'] }\n", strange},
        {"only an indented header, so the end is in its table", "  [t]\na = 1\n", strange},
    };
    for (const Case &c : cases)
        EXPECT_EQ(outcome(c.before), c.after) << c.name;
}

TEST(CodexConfig, LineTakesThePlaceOfAnEarlierCommand)
{
    const Case cases[] = {
        {"two elements", "a = 1\nnotify = [\"notify-send\", \"Codex\"]\nb = 2\n[t]\n",
         "notify-send|Codex -> a = 1\n" + line + "\nb = 2\n[t]\n"},
        {"no blanks, comment behind", "notify=['x'] # mine\n", "x -> " + line + "\n"},
        {"CRLF kept", "notify\t= [\"x\"]\r\na = 1\r\n", "x -> " + line + "\r\na = 1\r\n"},
        {"at the very end", "a = 1\nnotify = [\"x\"]", "x -> a = 1\n" + line},
        {"after a byte order mark", "\xEF\xBB\xBFnotify = [\"x\"]\n", "x -> \xEF\xBB\xBF" + line + "\n"},
        {"not valid TOML", "a = \nnotify = [\"x\"]\n", "x -> a = \n" + line + "\n"},
        {"inside a string over several lines", "a = '''\nnotify = [\"x\"]\n'''\n", strange},
        {"the scanner's end is inside a comment", "notify = [\"x\", # ]\n\"y\"]\n", strange},
        {"empty array", "notify = []\n", "foreign"},
        {"plain text", "notify = \"x\"\n", "foreign"},
        {"array over several lines", "notify = [\n\"x\"]\n", "foreign"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(outcome(c.before), c.after) << c.name;
}

TEST(CodexConfig, NoSecondKeyBesideANotifyInAnotherSpelling)
{
    const char *const configs[] = {
        "  notify = [\"x\"]\n",
        "\"notify\" = [\"x\"]\n",
        "'notify' = [\"x\"]\n[t]\n",
        "\"n\\u006ftify\" = [\"x\"]\n",
        "notify.x = 1\n",
        "notify . x = 1\n",
        "[notify]\n",
        "[ notify . a ]\n",
        "[t]\n[[notify]]\n",
        "[\"notify\"]\n",
        "a = [\n[1]\n]\nnotify = [\"x\"]\n", // the key stands below what looks like a header
        "\xEF\xBB\xBF 'notify' = 1\n",
    };
    for (const char *config : configs) {
        EXPECT_EQ(outcome(config), "foreign") << config;
        const bool needsReader = QByteArray(config).contains("[1]") || QByteArray(config).contains("\\u");
        const QByteArray broken = config + QByteArray("[broken\n"); // no reader can help here
        EXPECT_EQ(outcome(broken) == "foreign", !needsReader) << config;
    }
}

TEST(CodexConfig, SomeFilesAreLeftAlone)
{
    const QByteArray thousands = QByteArray("a.").repeated(50'000) + 'a';
    const QByteArray brackets = QByteArray("[").repeated(100'000);
    const QByteArray deepParts = QByteArray("{" + QByteArray("a.").repeated(40) + "a = ").repeated(100);
    const Case cases[] = {
        {"registered", "notify = [\"/x/codex-notify.sh\"]\n", "already"},
        {"only a comment", "# codex-notify\n", "already"},
        {"not UTF-8", "a = \"\xff\"\n", "failed: config.toml 不是 UTF-8 文本，这次没有改动。"},
        {"too large", QByteArray(5'000'000, '#'), "failed: config.toml 太大，超过了 4 MiB，这次没有改动。"},
        {"dots in a key", thousands + " = 1\n", unreadable},
        {"dots in a header", "# \"\n[" + thousands + "]\n", unreadable},
        {"dots after a string", "a = \"\"\"x\"\"\"\"\"\n" + thousands + " = 1\n", unreadable},
        {"brackets", "a = " + brackets + "\n", unreadable},
        {"text beyond ASCII after a backslash at a line's end", "a = \"\"\"x\\ \n  é\"\"\"\n", unreadable},
        {"many keys with some dots, each in another", "a = " + deepParts, unreadable},
    };
    for (const Case &c : cases)
        EXPECT_EQ(outcome(c.before), c.after) << c.name;

    // What is not TOML needs no confirmation. All of this is more than the reader can stand.
    for (const QByteArray broken :
         {"a = [\uFD75],\n", "\u00E9 = 1\n", "a = 1\u0100\n", "a = \"\\\u3010\"\n", "a = 9A\"\uFEFB\"\n",
          "a = 1.'\uFEFB'\n", "a = 1[\"\uFEFB\"]\n", "a = 1=\"\uFEFB\"\n", "a = 1980-05-27 1\n'\uFEFB'\n"}) {
        EXPECT_EQ(examineToml(broken), TomlForm::Invalid) << broken.constData();
        EXPECT_EQ(outcome(broken), broken + '\n' + line + '\n');
    }

    // Many dots that nest nothing, and text beyond ASCII where it belongs.
    const QByteArray numbers = "a = [" + QByteArray("1.5, ").repeated(1000) + "]\n";
    const QByteArray texts = "b = \"" + QByteArray(1000, '.') + "\" # " + QByteArray(1000, '.')
        + "\n"
          "'"
        + QByteArray(1000, '.')
        + "' = 1\n"
          "'好' = \"\"\"\uFD75\\n\uFD75\\\n x\"\"\" # \uFD75\n";
    const QByteArray tables = QByteArray("[t.u.v]\nx.y = 1.5\n") + QByteArray("[[w.x]]\n[w.x.y]\n").repeated(300);
    EXPECT_EQ(outcome(numbers + texts + tables), numbers + texts + line + "\n" + tables);
}

TEST(CodexConfig, PathIsWrittenAsATomlString)
{
    const QString path = u"/h \"x\" \\ \t\n\x7f é/用户/codex-notify.sh"_s;
    const CodexConfig::Result result = CodexConfig::edit("a = 1\n", path); // confirmed by the reader inside
    ASSERT_TRUE(std::holds_alternative<CodexConfig::Edit>(result));
    EXPECT_TRUE(std::get<CodexConfig::Edit>(result).content.contains(
        R"(["/h \"x\" \\ \u0009\u000a\u007f é/用户/codex-notify.sh"])"));
}

TEST(CodexConfig, ScannerReadsTheFirstArrayOfALine)
{
    struct ScanCase
    {
        QString line;
        QStringList elements;
    };
    const ScanCase cases[] = {
        {u"notify = [\"a\", \"b\"]"_s, {u"a"_s, u"b"_s}},
        {u"['a' \"b\"'c'] # \"d\"]"_s, {u"a"_s, u"b"_s, u"c"_s}},
        {uR"(["a\"b\\c\n"])"_s, {u"a\"b\\cn"_s}},
        {uR"(['a\"b\'])"_s, {u"a\\\"b\\"_s}},
        {u"[\"]\", '\"', \"'\"]"_s, {u"]"_s, u"\""_s, u"'"_s}},
        {u"[\"\", 1, x]"_s, {QString()}},
        {u"[[\"a\"], \"b\"]"_s, {u"a"_s}},
        {u"[\"👩‍👩‍👧 é\"]"_s, {u"👩‍👩‍👧 é"_s}},
        {u"[\"a\u0301\", \"b\"\u0301\"]"_s, {u"a\u0301"_s, u"b\"\u0301"_s}}, // an accented quote
        {u"[]"_s, {}},
        {u"\"a\""_s, {}},
        {u"[\"a\", \"b\""_s, {}},
        {u"[\"a\", \"b]"_s, {}},
        {u"[\"a\\\"]"_s, {}},
        {u""_s, {}},
    };
    for (const ScanCase &c : cases)
        EXPECT_EQ(CodexConfig::tomlStringElements(c.line), c.elements) << qPrintable(c.line);
}
