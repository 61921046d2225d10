#include "Plumtide/app/TrayIcon.h"

#include <QDir>
#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// Rows: no number, 3, 12, 99, "99+"; columns: the sizes. A picture that is wrong is left in the temporary folder.
TEST(TrayIcon, LooksLikeThePictureAtEverySize)
{
    QImage is(206, 5 * 64, QImage::Format_RGB32);
    is.fill(0xf6f5f4);
    const int counts[] = {0, 3, 12, 99, 5000};
    for (int row = 0; row < 5; ++row) {
        for (int x = 0; const int size : {16, 22, 24, 32, 48, 64}) {
            QPainter(&is).drawPixmap(x, row * 64, trayIcon(counts[row]).pixmap(size, size));
            x += size;
        }
    }
    const QImage should(QStringLiteral(PLUMTIDE_TEST_DATA_DIR "/app/tray-icon.png"));
    int different = 0;
    for (int at = 0; at < is.width() * is.height(); ++at) {
        const QPoint pixel(at % is.width(), at / is.width());
        different += !should.valid(pixel) || qAbs(qGray(is.pixel(pixel)) - qGray(should.pixel(pixel))) > 40;
    }
    EXPECT_LT(different, 40);
    if (different >= 40)
        is.save(QDir::temp().filePath(u"tray-icon.png"_s));
}
