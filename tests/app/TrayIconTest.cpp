#include "Plumtide/app/TrayIcon.h"

#include <QDir>
#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

// Rows: no number, 3, 12, 99, "99+", muted without and with a number; columns: the sizes. A picture that is wrong is
// left in the temporary folder.
TEST(TrayIcon, MatchesThePictureAtEverySize)
{
    QImage is(206, 7 * 64, QImage::Format_RGB32);
    is.fill(0xf6f5f4);
    QPainter painter(&is);
    for (int y = 0; const int count : {0, 3, 12, 99, 5000, 0, 3}) {
        for (int x = 0; const int size : {16, 22, 24, 32, 48, 64}) {
            painter.drawPixmap(x, y, trayIcon(count, y >= 5 * 64).pixmap(size, size));
            x += size;
        }
        y += 64;
    }
    const QImage should(PLUMTIDE_TEST_DATA_DIR "/app/tray-icon.png");
    int different = 0;
    for (int y = 0; y < is.height(); ++y)
        for (int x = 0; x < is.width(); ++x)
            different += !should.valid(x, y) || qAbs(qGray(is.pixel(x, y)) - qGray(should.pixel(x, y))) > 40;
    EXPECT_LT(different, 40);
    if (different >= 40)
        is.save(QDir::temp().filePath("tray-icon.png"));
}
