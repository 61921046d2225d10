#include "tests/views/Stage.h"

namespace {

/// The differences of a block of 8×8 pixels may add up to 48, less than a text's comma. A step of one is left out:
/// processors round differently. On failure `output` gets the picture, which can be accepted.
void compare(const QImage &is, const QString &name, const QDir &committed, const QDir &output)
{
    const QImage should = QImage(committed.filePath(name + ".webp")).convertedTo(QImage::Format_RGB32);
    QMap<std::pair<int, int>, int> blocks{{{}, is.size() == should.size() ? 0 : 49}};
    for (int y = 0; y < is.height() && is.size() == should.size(); ++y) {
        for (int x = 0; x < is.width(); ++x) {
            const QRgb a = is.pixel(x, y), b = should.pixel(x, y);
            blocks[{x / 8, y / 8}] +=
                std::max({qAbs(qRed(a) - qRed(b)), qAbs(qGreen(a) - qGreen(b)), qAbs(qBlue(a) - qBlue(b)), 1}) - 1;
        }
    }
    const int worst = *std::ranges::max_element(blocks);
    if (worst <= 48)
        return;
    is.save(output.filePath(name + ".webp"), nullptr, 100);
    ADD_FAILURE() << "by " << worst << ": see " << qPrintable(output.filePath(name)) << "*";
}

/// In lines of at most 140 characters.
QString wrapped(QString line)
{
    static const QRegularExpression between("(?<=[;|,，]) | (?=[-+—])");
    for (qsizetype start = 0, end = 0; line.size() - start > 140; start = end + 1) {
        end = line.lastIndexOf(between, start + 140);
        if (end <= start)
            break; // there is no place for it
        line.replace(end, 1, "\n        ");
    }
    return line;
}

} // namespace

// Each paragraph of scenes.txt says which fault it would catch.
TEST(Scenes, LookAndGoAsCommitted)
{
    ASSERT_TRUE(QFontDatabase::hasFamily("Noto Serif CJK SC")) << "Debian's fonts-noto-cjk is not there.";
    const QDir committed(PLUMTIDE_TEST_DATA_DIR "/views/scenes");
    QDir output(QCoreApplication::applicationDirPath() + "/scenes");
    ASSERT_TRUE(output.removeRecursively() && output.mkpath("."));
    QFile file(committed.filePath("scenes.txt"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    // What continues a line stands further in than it.
    QStringList text = QString::fromUtf8(file.readAll()).replace("\n        ", " ").split('\n');
    QMap<QString, AgentTask> lines;
    std::optional<Stage> stage;
    QString fault;
    for (QString &line : text) {
        if (!line.startsWith("    ")) {
            fault = line;
            if (line.isEmpty())
                stage.emplace(lines, QStringList());
            continue;
        }
        SCOPED_TRACE(qPrintable(fault));
        const QString steps = line.section(" ->", 0, 0);
        for (const QString &step : QString(steps).replace(" | ", "; look; ").sliced(4).split("; ")) {
            const QStringList words = step.split(' ');
            if (words[0] == "line") {
                lines[words[1]] = lineWith(line.sliced(9));
                break;
            }
            if (words[0] == "start")
                stage.emplace(lines, words);
            else if (words[0] == "picture")
                compare(stage->picture(words.value(2, "1").toDouble()), words[1], committed, output);
            else
                stage->act(step);
        }
        const QString printed = line == steps ? line : steps + " -> " + stage->changes();
        EXPECT_EQ(printed, line);
        line = wrapped(printed);
    }
    QFile printed(output.filePath("scenes.txt"));
    ASSERT_TRUE(printed.open(QIODevice::WriteOnly) && printed.write(text.join('\n').toUtf8()) > 0);
}
