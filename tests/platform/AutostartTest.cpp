#include "Plumtide/desktop/Autostart.h"

#include "tests/support/TestHome.h"

#include <QFileInfo>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString entry = u".config/autostart/plumtide.desktop"_s;

class AutostartTest : public testing::Test
{
protected:
    QString addProgram(const QString &name) const
    {
        home.write(name, "#!/bin/sh\n");
        EXPECT_TRUE(QFile::setPermissions(home.path(name), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        return home.path(name);
    }
    Autostart autostart(const QString &program) const { return {home.path(entry), program}; }
    Autostart autostart() const { return autostart(home.path(u"bin/plumtide"_s)); }
    QByteArray line(const QByteArray &key) const
    {
        for (const QByteArray &each : home.read(entry).split('\n'))
            if (each.startsWith(key + '='))
                return each.mid(key.size() + 1);
        return {};
    }

    TestHome home;
    const QString program = addProgram(u"bin/plumtide"_s);
};

} // namespace

TEST_F(AutostartTest, IsOffUntilSwitchedOnAndLeavesNothingWhenSwitchedOff)
{
    EXPECT_FALSE(autostart().isOn());
    EXPECT_TRUE(autostart().setOn(false)) << "there is nothing to do";
    ASSERT_TRUE(autostart().setOn(true));
    EXPECT_TRUE(autostart().isOn());
    EXPECT_EQ(line("Exec"), program.toUtf8());
    EXPECT_EQ(line("Type"), "Application");
    ASSERT_TRUE(autostart().setOn(false));
    EXPECT_FALSE(home.exists(entry));

    ASSERT_TRUE(autostart().setOn(true));
    EXPECT_TRUE(autostart(addProgram(u"elsewhere/plumtide"_s)).isOn()) << "another Plumtide would start";
    EXPECT_TRUE(autostart(u"/elsewhere"_s).setOn(false)) << "and this one switches it off";
    EXPECT_FALSE(home.exists(entry));
}

TEST_F(AutostartTest, NamesAnyProgramAsADesktopEntryWants)
{
    const struct
    {
        QString name;
        QByteArray exec;    // quoted as an argument, then escaped as a text
        QByteArray tryExec; // escaped as a text
    } cases[] = {
        {u"程序-1.2"_s, "~/程序-1.2", "~/程序-1.2"},
        {u"two words"_s, "\"~/two words\"", "~/two words"},
        {u"100%u"_s, "~/100%%u", "~/100%u"},
        {u"a\"b`c$d"_s, R"("~/a\\"b\\`c\\$d")", "~/a\"b`c$d"},
        {u"back\\slash"_s, R"("~/back\\\\slash")", R"(~/back\\slash)"},
    };
    for (const auto &expected : cases) {
        const Autostart named = autostart(addProgram(expected.name));
        ASSERT_TRUE(named.setOn(true));
        EXPECT_EQ(line("Exec").replace(home.path().toUtf8(), "~"), expected.exec);
        EXPECT_EQ(line("TryExec").replace(home.path().toUtf8(), "~"), expected.tryExec);
        EXPECT_TRUE(named.isOn()) << qPrintable(expected.name);
        ASSERT_TRUE(named.setOn(false));
    }
    EXPECT_FALSE(autostart(home.path(u"two\nlines"_s)).setOn(true));
    EXPECT_FALSE(home.exists(entry));
}

TEST_F(AutostartTest, SaysWhatALoginWouldDo)
{
    const QByteArray starts = "[Desktop Entry]\nType=Application\nExec=" + program.toUtf8() + "\n";
    const struct
    {
        const char *name;
        QByteArray content;
        bool isOn;
    } cases[] = {
        {"short", starts, true},
        {"with an argument", "[Desktop Entry]\nExec=" + program.toUtf8() + " --later\n", true},
        {"program of the session's PATH", "[Desktop Entry]\nExec=plumtide\n", true},
        {"hidden", starts + "Hidden=true\n", false},
        {"hidden, with blanks", starts + " Hidden = true \n", false},
        {"not hidden", starts + "Hidden=false\n", true},
        {"hidden in another group", starts + "[Desktop Action x]\nHidden=true\n", true},
        {"off in GNOME", starts + "X-GNOME-Autostart-enabled=false\n", false},
        {"program gone", "[Desktop Entry]\nExec=/nowhere/plumtide\n", false},
        {"no program", "[Desktop Entry]\nType=Application\n", false},
        {"empty", "", false},
        {"no desktop entry", "Exec=plumtide\n", false},
    };
    for (const auto &expected : cases) {
        home.write(entry, expected.content);
        EXPECT_EQ(autostart().isOn(), expected.isOn) << expected.name;
    }
}

TEST_F(AutostartTest, KeepsWhatTheUserHasWrittenIntoTheEntry)
{
    ASSERT_TRUE(autostart().setOn(true));
    const QByteArray changed = home.read(entry) + "# slow disk\nX-GNOME-Autostart-Delay=20\n";
    home.write(entry, changed);
    ASSERT_TRUE(autostart().setOn(false));
    EXPECT_FALSE(autostart().isOn());
    EXPECT_EQ(line("X-GNOME-Autostart-Delay"), "20");
    ASSERT_TRUE(autostart().setOn(true));
    EXPECT_TRUE(autostart().isOn());
    EXPECT_EQ(home.read(entry), changed);

    home.write(entry, "[Desktop Entry]\nExec=/nowhere/plumtide --later\nHidden=true\nX-Mine=1\n");
    ASSERT_TRUE(autostart().setOn(true));
    EXPECT_TRUE(autostart().isOn());
    EXPECT_EQ(line("Exec"), program.toUtf8()) << "nothing was there to start";
    EXPECT_EQ(line("X-Mine"), "1");

    home.write(entry,
               "[Desktop Entry]\r\nHidden=true\r\nExec=plumtide\r\nHidden=true\r\n"); // of another system's editor
    ASSERT_TRUE(autostart().setOn(true));
    EXPECT_TRUE(autostart().isOn());
    ASSERT_TRUE(autostart().setOn(false));
    EXPECT_FALSE(autostart().isOn());

    const QString kept = home.path(u"dotfiles/plumtide.desktop"_s);
    ASSERT_TRUE(QFile::remove(home.path(entry)));
    ASSERT_TRUE(autostart().setOn(true));
    ASSERT_TRUE(QDir().mkpath(home.path(u"dotfiles"_s)) && QFile::rename(home.path(entry), kept)
                && QFile::link(kept, home.path(entry)));
    ASSERT_TRUE(autostart().setOn(false));
    EXPECT_TRUE(QFileInfo(home.path(entry)).isSymLink());
    EXPECT_FALSE(autostart().isOn());
}

TEST_F(AutostartTest, SaysWhyItCannotAndChangesNothing)
{
    home.write(entry, "notes of mine\n");
    EXPECT_FALSE(autostart().setOn(true));
    EXPECT_TRUE(autostart().setOn(false));
    EXPECT_EQ(home.read(entry), "notes of mine\n");

    ASSERT_TRUE(QFile::remove(home.path(entry)) && QDir().mkpath(home.path(entry)));
    EXPECT_FALSE(autostart().setOn(true)) << "a folder is in the way";
    EXPECT_FALSE(autostart().setOn(false));
    ASSERT_TRUE(QDir().rmdir(home.path(entry)));

    ASSERT_TRUE(QDir().rmdir(home.path(u".config/autostart"_s)));
    home.write(u".config/autostart"_s, "a file");
    const Outcome<void> outcome = autostart().setOn(true);
    ASSERT_FALSE(outcome);
    EXPECT_TRUE(outcome.failure().sentence.contains(u"autostart"_s)) << qPrintable(outcome.failure().sentence);
    EXPECT_EQ(home.read(u".config/autostart"_s), "a file");
}
