#include "tests/player/WindowTest.h"

#include <QBuffer>
#include <QFile>

namespace {

using StillOrientationTest = WindowTest;

// 64 x 32 with a red left half, stored lying: a segment of Exif says that the first row is the right side.
QByteArray LyingPicture()
{
    QImage image(64, 32, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, x < image.width() / 2 ? qRgb(255, 0, 0) : qRgb(0, 0, 255));
    QBuffer file;
    file.open(QIODevice::WriteOnly);
    image.save(&file, "JPEG", 100);
    QByteArray bytes = file.data();
    int const firstSegment = 4 + 16;
    return bytes.insert(firstSegment, QByteArray::fromHex("ffe10022457869660000"
                                                          "4d4d002a000000080001"
                                                          "0112000300000001000600000000"
                                                          "0000"));
}

} // namespace

TEST_F(StillOrientationTest, ShowsAStillImageUpright)
{
    QTemporaryDir folder;
    QFile file(folder.filePath("lying.jpg"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(LyingPicture()) > 0);
    file.close();
    Start({file.fileName()});
    QImage image;
    // JPEG keeps whole numbers of luma and chroma: each is half a step off at most, and 1.772 times the chroma is
    // added.
    constexpr int loss = 2;
    auto const isRed = [&](int y) { return qRed(image.pixel(image.width() / 2, y)) >= 255 - loss; };
    ASSERT_TRUE(Eventually([&] {
        image = Grab();
        return isRed(image.height() / 4);
    }));
    EXPECT_LE(qRed(image.pixel(image.width() / 2, image.height() * 3 / 4)), loss);
    EXPECT_GE(qBlue(image.pixel(image.width() / 2, image.height() * 3 / 4)), 255 - loss);
    // Beside the upright picture, where the view is nearly black.
    EXPECT_LT(qGray(image.pixel(image.width() / 8, image.height() / 2)), 30);
}
