#include "tests/views/Scene.h"

#include "Plumtide/views/Theme.h"
#include "tests/support/Printing.h"

#include <QDir>
#include <QFontDatabase>
#include <QRegularExpression>
#include <QWidget>

#include <ostream>

using namespace Qt::StringLiterals;

namespace {

const QString scenes = QStringLiteral(PLUMTIDE_TEST_DATA_DIR "/views/scenes/");

std::vector<std::string> sceneNames()
{
    std::vector<std::string> names;
    for (const QString &file : QDir(scenes).entryList({u"*.json"_s}))
        names.push_back(file.chopped(5).toStdString());
    return names;
}

} // namespace

class SceneTest : public testing::TestWithParam<std::string>
{
protected:
    const Scene m_scene{scenes + QString::fromStdString(GetParam()) + u".json"_s};
};

// The expected lists are written by scripts/render-scenes; they are copied here after somebody has looked at the
// pictures.
TEST_P(SceneTest, BoxesColoursAndTextsAreTheExpectedOnes)
{
    ASSERT_TRUE(QFontDatabase::hasFamily(u"Noto Sans CJK SC"_s))
        << "The boxes are measured with Debian's fonts-noto-cjk.";
    QFile file(scenes + QString::fromStdString(GetParam()) + u".txt"_s);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList expected = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    const QStringList actual = m_scene.elements();
    for (qsizetype i = 0; i < std::max(expected.size(), actual.size()); ++i)
        EXPECT_EQ(actual.value(i), expected.value(i));
}

// What the lists say is on the picture: dots and faces in their opaque colours, and the background beside them.
TEST_P(SceneTest, ThePictureHasTheListedColours)
{
    constexpr int scale = 2;
    const QImage picture = m_scene.picture(scale);
    const bool isPanel = m_scene.view().width() == 400;
    static const QRegularExpression pattern(
        u"^(\\S+) \\| ([-\\d.]+),([-\\d.]+) ([\\d.]+)x([\\d.]+) \\| fill (#[0-9A-F]{6})(?!@)(.*)$"_s);
    int checked = 0;
    for (const QString &element : m_scene.elements()) {
        const QRegularExpressionMatch match = pattern.match(element);
        if (!match.hasMatch() || match.captured(7).contains(u"opacity"_s) || match.captured(7).contains(u"cut"_s))
            continue;
        const QRectF box(match.captured(2).toDouble(), match.captured(3).toDouble(), match.captured(4).toDouble(),
                         match.captured(5).toDouble());
        const bool isDot = box.width() == box.height();
        // Of a face, between its border and what is on it.
        const QPointF point = isDot ? box.center() : QPointF(box.right() - 13, box.top() + 1.5);
        const bool isBoard = match.captured(1).startsWith(u"card"_s) || match.captured(1).startsWith(u"row"_s)
            || match.captured(1).startsWith(u"focus"_s) || match.captured(1).startsWith(u"section"_s);
        if (isBoard && (point.y() < 82 || point.y() > 522))
            continue; // scrolled away
        EXPECT_EQ(picture.pixelColor((point * scale).toPoint()).name().toUpper(), match.captured(6))
            << qPrintable(element);
        ++checked;
    }
    EXPECT_GT(checked, GetParam() == "board" ? 10 : -1);
    if (isPanel) {
        for (const int y : {30, 310, 500, 550})
            EXPECT_EQ(picture.pixelColor(5 * scale, y * scale), Theme::bg) << y;
    } else {
        EXPECT_EQ(picture.pixelColor(0, 0).alpha(), 0) << "outside of the rounded corner";
    }
}

// A hair of a difference between scales would be a box that was rounded where it must not be.
TEST_P(SceneTest, EveryScaleShowsTheSamePicture)
{
    const QImage one = m_scene.picture(1);
    for (const double scale : {1.5, 2.0}) {
        const QImage smaller =
            m_scene.picture(scale).scaled(one.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        qint64 difference = 0;
        for (int y = 0; y < one.height(); ++y) {
            for (int x = 0; x < one.width(); ++x)
                difference += std::abs(qGray(one.pixel(x, y)) - qGray(smaller.pixel(x, y)));
        }
        EXPECT_LT(static_cast<double>(difference) / one.width() / one.height(), 4) << scale;
    }
}

INSTANTIATE_TEST_SUITE_P(All, SceneTest, testing::ValuesIn(sceneNames()), [](const auto &info) {
    std::string name = info.param;
    std::ranges::replace(name, '-', '_');
    return name;
});
