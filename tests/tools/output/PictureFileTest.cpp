#include "tools/output/PictureFile.h"

#include "tests/support/Reference.h"
#include "tests/tools/FolderTest.h"
#include "tools/output/RgbPicture.h"

#include <QFile>

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
}

#include <cstdlib>

namespace {

// Soft colours, so that JPEG keeps them.
RgbPicture Gradient(int width, int height)
{
    RgbPicture picture;
    picture.width = width;
    picture.height = height;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            picture.bytes.push_back(static_cast<uint8_t>(40 + x));
            picture.bytes.push_back(static_cast<uint8_t>(200 - y));
            picture.bytes.push_back(static_cast<uint8_t>(60 + x + y));
        }
    }
    return picture;
}

class PictureFileTest : public FolderTest
{
protected:
    PictureTarget Target(QString const& name) const { return {PathOf(name), PictureFile::EndingOf(name)}; }

    // Writes and reads back, both to packed RGB.
    std::vector<uint8_t> ThroughFile(RgbPicture const& picture, QString const& name) const
    {
        QString error;
        EXPECT_TRUE(PictureFile::Write(picture, Target(name), error)) << error.toStdString();
        std::vector<uint8_t> bytes;
        ReferenceInput(PathOf(name), 0).DecodeAll([&](AVFrame& frame) {
            EXPECT_EQ(frame.width, picture.width);
            EXPECT_EQ(frame.height, picture.height);
            auto const padded = ConvertPlainly(frame, frame.width);
            for (int row = 0; row < frame.height; ++row) {
                auto const begin = padded.begin() + row * RowBytes(frame.width);
                bytes.insert(bytes.end(), begin, begin + 3 * frame.width);
            }
        });
        return bytes;
    }
};

} // namespace

TEST_F(PictureFileTest, WritesEveryFormatThatItNames)
{
    EXPECT_EQ(PictureFile::Endings(), (QStringList{"png", "jpg", "jpeg", "ppm", "pnm"}));
    for (QString const& ending : PictureFile::Endings())
        EXPECT_EQ(ThroughFile(Gradient(20, 10), "a." + ending.toUpper()).size(), 600u) << ending.toStdString();
}

TEST_F(PictureFileTest, WritesPpmByteForByte)
{
    RgbPicture picture;
    picture.width = 1;
    picture.height = 2;
    picture.bytes = {'a', 'b', 'c', 'd', 'e', 'f'};
    QString error;
    ASSERT_TRUE(PictureFile::Write(picture, Target("a.ppm"), error));
    QFile file(PathOf("a.ppm"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "P6\n1 2\n255\nabcdef");
}

TEST_F(PictureFileTest, WritesPngWithoutLoss)
{
    for (int const width : {1, 2, 33, 100}) {
        RgbPicture const picture = Gradient(width, 17);
        EXPECT_EQ(ThroughFile(picture, QStringLiteral("%1.png").arg(width)), picture.bytes) << width;
    }
}

TEST_F(PictureFileTest, WritesJpegWithLittleLoss)
{
    RgbPicture const picture = Gradient(101, 35);
    auto const read = ThroughFile(picture, "a.jpg");
    ASSERT_EQ(read.size(), picture.bytes.size());
    int largest = 0;
    for (size_t i = 0; i < read.size(); ++i)
        largest = std::max(largest, std::abs(read[i] - picture.bytes[i]));
    EXPECT_LE(largest, 4); // as ffmpeg's at the same quality; the next one loses 5, and halved chroma 14 or more
}

TEST_F(PictureFileTest, ReplacesAFile)
{
    EXPECT_EQ(ThroughFile(Gradient(40, 40), "a.png").size(), 4800u);
    EXPECT_EQ(ThroughFile(Gradient(2, 2), "a.png").size(), 12u);
}

TEST_F(PictureFileTest, SaysWhyItCannotWrite)
{
    QString error;
    EXPECT_FALSE(PictureFile::Write(Gradient(2, 2), Target("none/a.png"), error));
    EXPECT_EQ(error, "No such file or directory");
    RgbPicture const nothing;
    EXPECT_FALSE(PictureFile::Write(nothing, Target("b.png"), error));
    EXPECT_EQ(error, "a picture of 0x0 does not fit this format");
    EXPECT_FALSE(QFile::exists(PathOf("b.png")));
}
