#include "Plumtide/platform/Defaults.h"

#include "tests/support/Printing.h"
#include "tests/support/TestHome.h"
#include "tests/support/Unprivileged.h"

#include <QSettings>

#include <thread>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

class DefaultsTest : public testing::Test
{
protected:
    TestHome m_home;
    const QString m_file = u".config/plumtide/plumtide.conf"_s;
    Defaults m_defaults{m_home.path(m_file)};
};

} // namespace

TEST_F(DefaultsTest, EachWriteIsInTheFileAndAnotherReaderUnderstandsIt)
{
    EXPECT_FALSE(m_defaults.boolean(u"miniBoardEnabled"_s));
    EXPECT_EQ(m_defaults.number(u"tavvel.events.offset"_s), std::nullopt);
    m_defaults.setBoolean(u"miniBoardEnabled"_s, true);
    m_defaults.setNumber(u"tavvel.events.offset"_s, 9'007'199'254'740'991.0, Files::Flush::Later);
    m_defaults.setNumbers(u"miniBoardOrigin"_s, {-100.5, 200});
    EXPECT_EQ(m_home.read(m_file),
              "[General]\nminiBoardOrigin=-100.5, 200\ntavvel.events.offset=9007199254740991\n"
              "miniBoardEnabled=true\n");
    const QSettings other(m_home.path(m_file), QSettings::IniFormat);
    EXPECT_TRUE(other.value(u"miniBoardEnabled"_s).toBool());
    EXPECT_EQ(other.value(u"tavvel.events.offset"_s).toLongLong(), 9'007'199'254'740'991);
    EXPECT_EQ(other.value(u"miniBoardOrigin"_s).toStringList(), (QStringList{u"-100.5"_s, u"200"_s}));

    m_defaults.setBoolean(u"miniBoardEnabled"_s, false);
    Defaults again(m_home.path(m_file));
    EXPECT_FALSE(again.boolean(u"miniBoardEnabled"_s));
    EXPECT_EQ(again.number(u"tavvel.events.offset"_s), 9'007'199'254'740'991.0);
    EXPECT_EQ(again.numbers(u"miniBoardOrigin"_s), (QList<double>{-100.5, 200}));
}

TEST_F(DefaultsTest, LinesOfOthersKeepTheirBytes)
{
    m_home.write(m_file, "; mine\ntop=1\n[Other]\nkey=2\n\n[General]\n key = 3 \nodd line\r\n[Last]\nkey=4");
    EXPECT_EQ(m_defaults.number(u"key"_s), 3.0);
    EXPECT_EQ(m_defaults.number(u"top"_s), 1.0);
    m_defaults.setNumber(u"key"_s, 5);
    m_defaults.setBoolean(u"new"_s, true);
    EXPECT_EQ(m_home.read(m_file),
              "; mine\ntop=1\n[Other]\nkey=2\n\n[General]\nnew=true\nkey=5\nodd line\r\n[Last]\nkey=4\n");
}

TEST_F(DefaultsTest, ChangesOfOthersCountFromTheNextCallOn)
{
    m_defaults.setNumber(u"tavvel.events.offset"_s, 10);
    m_home.write(m_file, "[General]\ntavvel.events.offset=7\nother=true\n");
    EXPECT_EQ(m_defaults.number(u"tavvel.events.offset"_s), 7.0);
    m_defaults.setNumber(u"tavvel.events.offset"_s, 8);
    EXPECT_TRUE(m_defaults.boolean(u"other"_s));
}

TEST_F(DefaultsTest, ValuesOfAnotherKindReadAsMissing)
{
    m_home.write(m_file, "[General]\na=x\nb=1, x\nc=\nd=nan\ne=1\nf=TRUE\n");
    EXPECT_EQ(m_defaults.number(u"a"_s), std::nullopt);
    EXPECT_EQ(m_defaults.numbers(u"b"_s), std::nullopt);
    EXPECT_EQ(m_defaults.numbers(u"c"_s), std::nullopt);
    EXPECT_EQ(m_defaults.number(u"d"_s), std::nullopt);
    EXPECT_EQ(m_defaults.numbers(u"e"_s), QList<double>{1});
    EXPECT_FALSE(m_defaults.boolean(u"e"_s));
}

TEST_F(DefaultsTest, RemovesTheLineOfItsKeyAndNothingElse)
{
    m_home.write(m_file, "; mine\n[Other]\nkey=1\n[General]\nkey=2\nlast=3\n");
    m_defaults.remove(u"key"_s);
    m_defaults.remove(u"never there"_s);
    EXPECT_EQ(m_defaults.number(u"key"_s), std::nullopt);
    EXPECT_EQ(m_home.read(m_file), "; mine\n[Other]\nkey=1\n[General]\nlast=3\n");
}

TEST_F(DefaultsTest, AFailedWriteStaysReadable)
{
    m_home.write(u".config"_s, "a file where the folder should be");
    m_defaults.setNumber(u"tavvel.events.offset"_s, 42);
    EXPECT_EQ(m_defaults.number(u"tavvel.events.offset"_s), 42.0);
}

TEST_F(DefaultsTest, AWriteAfterAFailedOneFindsTheFileAsItIs)
{
    // The offset gains a digit while nothing can be made in the folder, then goes on at its new length.
    m_home.write(m_file, "[General]\ntavvel.events.offset=9990\ntavvel.claude.hasSeenEvent=true\n");
    const QByteArray folder = QFile::encodeName(QFileInfo(m_home.path(m_file)).path());
    for (const QString &name : {u"."_s, u".config"_s})
        ::chmod(QFile::encodeName(m_home.path(name)).constData(), 0755);
    ::chmod(QFile::encodeName(m_home.path(m_file)).constData(), 0666);
    ::chmod(folder.constData(), 0555);
    {
        const Unprivileged ordinaryUser;
        EXPECT_EQ(m_defaults.number(u"tavvel.events.offset"_s), 9990.0);
        for (const double offset : {9995.0, 10'100.0, 10'200.0})
            m_defaults.setNumber(u"tavvel.events.offset"_s, offset, Files::Flush::Later);
    }
    EXPECT_EQ(m_home.read(m_file), "[General]\ntavvel.events.offset=9995\ntavvel.claude.hasSeenEvent=true\n");
    EXPECT_EQ(m_defaults.number(u"tavvel.events.offset"_s), 10'200.0);
    ::chmod(folder.constData(), 0755);
    m_defaults.setNumber(u"tavvel.events.offset"_s, 10'300, Files::Flush::Later);
    EXPECT_EQ(m_home.read(m_file), "[General]\ntavvel.events.offset=10300\ntavvel.claude.hasSeenEvent=true\n");
}

TEST_F(DefaultsTest, AFileThatCannotBeReadIsNotWritten)
{
    const QByteArray huge = "[General]\n" + QByteArray(2 << 20, 'x');
    m_home.write(m_file, huge);
    m_defaults.setNumber(u"tavvel.events.offset"_s, 42);
    EXPECT_EQ(m_home.read(m_file), huge);
    EXPECT_EQ(m_defaults.number(u"tavvel.events.offset"_s), 42.0);
}

TEST_F(DefaultsTest, ThreadsDoNotLoseEachOthersKeys)
{
    std::thread watcher([this] {
        for (int i = 1; i <= 200; ++i)
            m_defaults.setNumber(u"tavvel.events.offset"_s, i, Files::Flush::Later);
    });
    for (int i = 1; i <= 200; ++i)
        m_defaults.setNumbers(u"miniBoardOrigin"_s, {1.0 * i, 2.0 * i}, Files::Flush::Later);
    watcher.join();
    Defaults again(m_home.path(m_file));
    EXPECT_EQ(again.number(u"tavvel.events.offset"_s), 200.0);
    EXPECT_EQ(again.numbers(u"miniBoardOrigin"_s), (QList<double>{200, 400}));
}

TEST(DefaultsPath, FollowsTheDesktopsConfigurationFolder)
{
    const QByteArray before = qgetenv("XDG_CONFIG_HOME");
    qunsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(Defaults::standardPath(u"/home/u"_s), u"/home/u/.config/plumtide/plumtide.conf"_s);
    qputenv("XDG_CONFIG_HOME", "relative");
    EXPECT_EQ(Defaults::standardPath(u"/home/u"_s), u"/home/u/.config/plumtide/plumtide.conf"_s);
    qputenv("XDG_CONFIG_HOME", "/cfg");
    EXPECT_EQ(Defaults::standardPath(u"/home/u"_s), u"/cfg/plumtide/plumtide.conf"_s);
    before.isNull() ? qunsetenv("XDG_CONFIG_HOME") : qputenv("XDG_CONFIG_HOME", before);
}
