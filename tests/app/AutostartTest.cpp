#include "Plumtide/desktop/Autostart.h"

#include "tests/support/TestHome.h"

// A row: an entry, whether a login starts a Plumtide by it, and what switching on and off makes of it. "~" is the home.
TEST(Autostart, KeepsTheUsersEntryAndIsOnIfALoginStartsTheProgram)
{
    const QString entry = "autostart/plumtide.desktop";
    const QByteArray none = "(none)", notes = "notes of mine\n";
    const QByteArray own = "[Desktop Entry]\nType=Application\nName=Plumtide\n"
                           "Comment=Follows your Claude Code and Codex sessions from the tray\n"
                           "Comment[zh_CN]=在托盘里跟进 Claude Code 与 Codex 的会话\n"
                           "Exec=~/plumtide --at-login\nTryExec=~/plumtide\nIcon=plumtide\nTerminal=false\n";
    const QByteArray mine = "[Desktop Entry]\n# slow disk\nExec=~/plumtide --later\nX-Mine=1\n";
    const QByteArray gone = "[Desktop Entry]\nExec=/nowhere/plumtide\n";
    const QByteArray gnomeOff = "X-GNOME-Autostart-enabled=false\n";
    const auto hidden = [](QByteArray content) { return content.replace("Entry]\n", "Entry]\nHidden=true\n"); };
    const std::tuple<QByteArray, bool, QByteArray, QByteArray> rows[] = {
        {none, false, own, none},
        {own, true, own, none},
        {mine, true, mine, hidden(mine)},
        {hidden(mine), false, mine, hidden(mine)},
        {mine + gnomeOff, false, mine, mine + gnomeOff},
        {gone, false, "[Desktop Entry]\nExec=~/plumtide --at-login\nTryExec=~/plumtide\n", hidden(gone)},
        {notes, false, notes, notes},
    };
    for (const auto &[before, wasOn, on, off] : rows) {
        const TestHome home;
        const QString program = home.path("plumtide");
        home.write("plumtide", "#!/bin/sh\n");
        QFile::setPermissions(program, QFile::ExeOwner);
        const Autostart autostart(home.path(entry), program);
        const auto real = [&](QByteArray text) { return text.replace("~", home.path().toUtf8()); };
        for (const bool isOn : {true, false}) {
            QFile::remove(home.path(entry));
            if (before != none)
                home.write(entry, real(before));
            EXPECT_EQ(autostart.isOn(), wasOn) << before.constData();
            EXPECT_EQ(bool(autostart.setOn(isOn)), !isOn || on != notes);
            EXPECT_EQ(home.exists(entry) ? home.read(entry) : none, real(isOn ? on : off));
        }
    }
}
