#include "tests/views/Stage.h"

namespace {

/// No block of 8×8 pixels may differ by more than 48, the sum of its pixels' differences in steps of 255 a channel;
/// less than a text's comma. A step of one is left out: processors round differently. On failure `output` gets the
/// picture, which can be accepted, and the difference.
void compare(const QImage &is, const QString &name, const QDir &committed, const QDir &output)
{
    const QImage should = QImage(committed.filePath(name + u".webp"_s)).convertedTo(QImage::Format_RGB32);
    QImage difference = is;
    QPainter painter(&difference);
    painter.setCompositionMode(QPainter::CompositionMode_Difference);
    painter.drawImage(0, 0, should);
    painter.end();
    QMap<std::pair<int, int>, int> blocks{{{0, 0}, is.size() == should.size() ? 0 : 1'000'000}};
    for (int y = 0; y < difference.height(); ++y) {
        for (int x = 0; x < difference.width(); ++x) {
            const QRgb pixel = difference.pixel(x, y);
            blocks[{x / 8, y / 8}] += std::max({qRed(pixel), qGreen(pixel), qBlue(pixel), 1}) - 1;
        }
    }
    const int worst = *std::ranges::max_element(blocks);
    if (worst <= 48)
        return;
    is.save(output.filePath(name + u".webp"_s), nullptr, 100);
    difference.save(output.filePath(name + u"-difference.png"_s));
    ADD_FAILURE() << "by " << worst << ": see " << qPrintable(output.filePath(name)) << "*";
}

/// In lines of at most 140 characters.
QString wrapped(QString line)
{
    static const QRegularExpression between(u"(?<=[;|,，]) | (?=[-+—])"_s);
    for (qsizetype start = 0, end = 0; line.size() - start > 140; start = end + 1) {
        end = line.lastIndexOf(between, start + 140);
        if (end <= start)
            break; // there is no place for it
        line.replace(end, 1, u"\n        "_s);
    }
    return line;
}

} // namespace

// Each paragraph of scenes.txt says which fault it would catch.
TEST(Scenes, LookAndGoAsCommitted)
{
    ASSERT_TRUE(QFontDatabase::hasFamily(u"Noto Sans CJK SC"_s) && QFontDatabase::hasFamily(u"Noto Serif CJK SC"_s))
        << "The pictures are drawn with Debian's fonts-noto-cjk, which is not there.";
    ASSERT_TRUE(QImageReader::supportedImageFormats().contains("webp")) << "qt6-image-formats-plugins is not there.";
    const QDir committed(QStringLiteral(PLUMTIDE_TEST_DATA_DIR "/views/scenes"));
    QDir output(QCoreApplication::applicationDirPath() + u"/scenes"_s);
    ASSERT_TRUE(output.removeRecursively() && output.mkpath(u"."_s));
    QFile file(committed.filePath(u"scenes.txt"_s));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    // What continues a line stands further in than it.
    QStringList text = QString::fromUtf8(file.readAll()).replace(u"\n        "_s, u" "_s).split(u'\n');
    QMap<QString, AgentTask> lines;
    std::unique_ptr<Stage> stage;
    const auto start = [&](const QStringList &with) {
        stage.reset(); // there is one clock of animations
        const QString both = u"claude,codex"_s;
        stage = std::make_unique<Stage>(lines, with.value(1), with.value(2, both), with.value(3, both));
    };
    QString fault;
    for (QString &line : text) {
        if (!line.startsWith(u"    ")) {
            fault = line;
            if (line.isEmpty())
                start({});
            continue;
        }
        SCOPED_TRACE(qPrintable(fault));
        const QString steps = line.section(u" ->"_s, 0, 0);
        for (const QString &step : QString(steps).replace(u" | "_s, u"; look; "_s).sliced(4).split(u"; "_s)) {
            const QStringList words = step.split(u' ');
            if (words[0] == u"line") {
                lines[words[1]] = lineWith(line.sliced(9));
                break;
            }
            if (words[0] == u"start")
                start(words);
            else if (words[0] == u"picture")
                compare(stage->picture(words.value(2, u"1"_s).toDouble()), words[1], committed, output);
            else
                stage->act(step);
        }
        const QString printed = line == steps ? line : steps + u" -> "_s + stage->changes();
        EXPECT_EQ(printed, line);
        line = wrapped(printed);
    }
    QFile printed(output.filePath(u"scenes.txt"_s));
    ASSERT_TRUE(printed.open(QIODevice::WriteOnly) && printed.write(text.join(u'\n').toUtf8()) > 0);
}
