// Draws every scene to PNG files, at 100, 150 and 200 %, so that a person can look, and lists what is in it.
//   RenderScenes OUTPUT-FOLDER SCENE.json...
#include "tests/views/Scene.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>

#include <cstdio>

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication application(argc, argv);
    QStringList arguments = QApplication::arguments().sliced(1);
    if (arguments.size() < 2) {
        std::fputs("usage: RenderScenes OUTPUT-FOLDER SCENE.json...\n", stderr);
        return 2;
    }
    const QDir output(arguments.takeFirst());
    if (!output.mkpath(QStringLiteral(".")))
        return 1;
    for (const QString &path : std::as_const(arguments)) {
        const Scene scene(path);
        const QString name = QFileInfo(path).completeBaseName();
        for (const double scale : {1.0, 1.5, 2.0}) {
            const QString file = output.filePath(QStringLiteral("%1@%2.png").arg(name).arg(scale));
            if (!scene.picture(scale).save(file)) {
                std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
                return 1;
            }
        }
        QFile list(output.filePath(name + QStringLiteral(".txt")));
        if (!list.open(QIODevice::WriteOnly) || list.write(scene.elements().join(u'\n').toUtf8() + '\n') < 0)
            return 1;
    }
    return 0;
}
