#include "Plumtide/desktop/Display.h"

#include <QLibraryInfo>
#include <QLocalServer>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// Qt ends the process over a platform that cannot start. The plugins are of our own choice: any will do, none is
// started.
TEST(Display, ChoosesAPlatformThatWillStart)
{
    const QTemporaryDir folder;
    const QString offscreen = QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platforms/libqoffscreen.so"_s;
    for (const QString &name : {u"xcb"_s, u"wayland-generic"_s, u"offscreen"_s, u"linuxfb"_s})
        ASSERT_TRUE(QFile::link(offscreen, folder.filePath(u"libq%1.so"_s.arg(name))));
    QProcess xvfb;
    xvfb.start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-noreset"_s, u"-nolisten"_s, u"tcp"_s});
    ASSERT_TRUE(xvfb.waitForReadyRead());
    const QByteArray there = ":" + xvfb.readLine().trimmed(), mute = ":29777";
    QLocalServer muteServer, wayland;
    ASSERT_TRUE(muteServer.listen(u"/tmp/.X11-unix/X29777"_s) && wayland.listen(folder.filePath(u"wayland-7"_s)));
    const struct
    {
        QByteArray wish, display, wayland, chosen;
    } rows[] = {
        {"", "", "", ""},
        {"", there, "", "xcb"},
        {"", ":29778", "", ""},
        {"", mute, "", ""},
        {"", mute, "wayland-7", "wayland"},
        {"", there, "wayland-7", "xcb"},
        {"wayland", there, "wayland-7", "wayland"},
        {"wayland", there, "wayland-8", "xcb"},
        {"offscreen:x=y", "", "", "offscreen:x=y"},
        {"wayland;nonsense;offscreen", "", "", "offscreen"},
        {"linuxfb", "", "", ""},
    };
    qputenv("QT_QPA_PLATFORM_PLUGIN_PATH", QFile::encodeName(folder.path()));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(folder.path()));
    for (const auto &row : rows) {
        qputenv("QT_QPA_PLATFORM", row.wish);
        qputenv("DISPLAY", row.display);
        qputenv("WAYLAND_DISPLAY", row.wayland);
        EXPECT_EQ(DisplayProbe(500ms).platform(), row.chosen) << &row - rows;
    }
}
