#include "tests/fuzz/EditOracles.h"
#include "tests/support/TestHome.h"

#include <QProcess>

#include <clocale>

namespace {

// Asks the oracle about all that a fuzzer starts from. The name of a file begins with the right answer.
void askAboutAll(const QString &target, QByteArray (*oracle)(const QByteArray &))
{
    const QDir corpus(PLUMTIDE_TEST_DATA_DIR "/fuzz/corpus/" + target);
    EXPECT_GT(corpus.count(), 40u);
    for (const QString &name : corpus.entryList(QDir::Files)) {
        QFile file(corpus.filePath(name));
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        QByteArray answer;
        EXPECT_NO_THROW(answer = oracle(file.readAll())) << qPrintable(name);
        EXPECT_EQ(name.section('-', 0, 0), answer.split(':')[0]) << qPrintable(name);
    }
}

} // namespace

// In a locale whose decimal point is a comma: it is the user's, and no file's.
TEST(Edits, EachFileOfTheCorpusIsEditedOrRefusedAsItsNameSays)
{
    const QTemporaryDir locales;
    const QString german = locales.filePath("de_DE.UTF-8");
    ASSERT_EQ(QProcess::execute("localedef", {"-i", "de_DE", "-f", "UTF-8", german}), 0);
    qputenv("LOCPATH", locales.path().toUtf8());
    EXPECT_TRUE(std::setlocale(LC_ALL, "de_DE.UTF-8"));
    askAboutAll("FuzzClaudeSettings", editClaudeSettings);
    askAboutAll("FuzzCodexConfig", editCodexConfig);
    std::setlocale(LC_ALL, "C.UTF-8");
}

TEST(Edits, DeepFilesNeedLittleStackAndTime)
{
    const auto many = [](const QByteArray &text) { return text.repeated(200'000); };
    for (const QByteArray &z : {many("[") + many("]"), many("{\"a\":") + '1' + many("}"), many("[{\"a\":")})
        EXPECT_NO_THROW(editClaudeSettings("{\"z\":" + z + '}'));
    const QByteArray inner = '{' + QByteArray("a.").repeated(1000) + "a = ";
    for (const QByteArray &config :
         {many("a.") + "a = 1\n", "# \"\n[" + many("a.") + "a]\n", "b = '''x'''\n" + many("a.") + "a = 1\n",
          "b = { " + many("a.") + "a = 1 }\n", "a = " + many("[\n{b.c = "), "a = " + many("["),
          "a = " + inner.repeated(250) + '1' + QByteArray("}").repeated(250) + '\n'})
        EXPECT_NO_THROW(editCodexConfig(config));
}

TEST(Edits, RefusalSaysWhatIsWrongWithTheFile)
{
    EXPECT_EQ(editClaudeSettings(R"({"a":{"好":1,"好":2}})"), "refused:settings.json 里有重复的键：好，这次没有改动。");
    EXPECT_EQ(editClaudeSettings("[0.10000000000000000001]"),
              "refused:settings.json 里有没法原样写回的数字：0.10000000000000000001，这次没有改动。");
    for (const QByteArray &deep : {QByteArray("[").repeated(501), '[' + QByteArray("[[[[],[]]],").repeated(600'000)})
        EXPECT_EQ(editClaudeSettings(deep), "refused:settings.json 嵌套得太深，这次没有改动。");
    EXPECT_EQ(editClaudeSettings("{\n\"a\":1e999}"), "refused:settings.json 第 2 行有一个过大的数字，这次没有改动。");
    EXPECT_EQ(editCodexConfig("[" + QByteArray("a.").repeated(50'000) + "a]\n"),
              "refused:config.toml 里有没法核对的写法，为避免弄坏它，这次没有改动。");
}

TEST(Edits, TheEarlierCommandIsReadToTheEndOfItsArray)
{
    const QString line =
        "notify = ['a' \"\", [\"]\"'b', \"c\\\"d\\\\e\\n\", 1, 'f\"g\\', \"'\", \"\u00E9\", \"h\"\u0301\"] # 'i']";
    EXPECT_EQ(CodexConfig::tomlStringElements(line),
              (QStringList{"a", "", "]", "b", "c\"d\\en", "f\"g\\", "'", "\u00E9",
                           "h\"\u0301"})); // an accented quote is none
    for (const QString none : {"", "\"a\"", "[]", "[\"a\", 'b'", "['a', \"b\\\"]"})
        EXPECT_EQ(CodexConfig::tomlStringElements(none), QStringList());
}
