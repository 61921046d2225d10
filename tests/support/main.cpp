#ifdef QT_WIDGETS_LIB
#include <QApplication>
using Application = QApplication;
#else
#include <QCoreApplication>
using Application = QCoreApplication;
#endif

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    // The same pixels and metrics on every machine: no display, no desktop's style or scale, and known fonts.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_STYLE_OVERRIDE", "Fusion");
    qputenv("FONTCONFIG_FILE", PLUMTIDE_TEST_DATA_DIR "/support/fonts.conf");
    qunsetenv("QT_SCALE_FACTOR");
    Application application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
