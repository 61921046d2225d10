#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    // The same pixels and metrics on every machine: no display, no desktop's style or scale, and known fonts.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("FONTCONFIG_FILE", PLUMTIDE_TEST_DATA_DIR "/support/fonts.conf");
    qunsetenv("QT_SCALE_FACTOR");
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
