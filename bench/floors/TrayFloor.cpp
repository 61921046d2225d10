#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

#include <csignal>

#include <unistd.h>

using namespace Qt::StringLiterals;

// The least that a program in the tray takes with Qt Widgets: an item with a picture in six sizes, and a menu.
int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    std::signal(SIGTERM, [](int) { ::_exit(0); });
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap picture(size, size);
        picture.fill(Qt::gray);
        icon.addPixmap(picture);
    }
    QMenu menu;
    for (const QString &text : {u"Open"_s, u"Board"_s, u"Quit"_s})
        menu.addAction(text);
    QSystemTrayIcon item(icon);
    item.setContextMenu(&menu);
    item.show();
    return QApplication::exec();
}
