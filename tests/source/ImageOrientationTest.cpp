#include "source/ImageOrientation.h"

#include "decode/DecodedVideoFrame.h"
#include "decode/RowBytes.h"
#include "source/Source.h"
#include "tests/support/Media.h"

#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

namespace {

// The pictures are fields of plain colour, so that lossy formats keep them.
constexpr int columns = 3;
constexpr int rows = 2;
constexpr int fieldSize = 16;

using Colour = std::array<int, 3>;
constexpr Colour fields[rows][columns] = {{{250, 0, 0}, {0, 250, 0}, {0, 0, 250}},
                                          {{250, 250, 0}, {0, 250, 250}, {250, 250, 250}}};

QByteArray Fields()
{
    QByteArray bytes = "P6\n48 32\n255\n";
    for (int y = 0; y < rows * fieldSize; ++y)
        for (int x = 0; x < columns * fieldSize; ++x)
            for (int const component : fields[y / fieldSize][x / fieldSize])
                bytes.append(static_cast<char>(component));
    return bytes;
}

QByteArray Image(QString const& name, QStringList const& arguments = {})
{
    return ReadMedia(MakeMedia(name, QStringList{"-i", WriteMedia("fields.ppm", Fields())} + arguments));
}

template <typename Number>
QByteArray Encoded(Number number, bool bigEndian)
{
    QByteArray bytes(sizeof number, '\0');
    bigEndian ? qToBigEndian(number, bytes.data()) : qToLittleEndian(number, bytes.data());
    return bytes;
}

QByteArray Entry(uint16_t tag, uint16_t type, uint32_t count, uint32_t value, bool bigEndian)
{
    bool const isShort = type == 3;
    return Encoded(tag, bigEndian) + Encoded(type, bigEndian) + Encoded(count, bigEndian) +
           (isShort ? Encoded(static_cast<uint16_t>(value), bigEndian) + QByteArray(2, '\0')
                    : Encoded(value, bigEndian));
}

// A TIFF structure of one directory with the width, and then the orientation.
QByteArray Tags(int orientation, bool bigEndian)
{
    QByteArray const order = bigEndian ? QByteArray("MM\0*", 4) : QByteArray("II*\0", 4);
    return order + Encoded<uint32_t>(8, bigEndian) + Encoded<uint16_t>(2, bigEndian) +
           Entry(0x0100, 4, 1, 48, bigEndian) + Entry(0x0112, 3, 1, static_cast<uint32_t>(orientation), bigEndian) +
           QByteArray(4, '\0');
}

// With a segment of Exif behind the first one, as cameras have it.
QByteArray Jpeg(int orientation, bool bigEndian = true)
{
    QByteArray bytes = Image("fields.jpg", {"-q:v", "1", "-pix_fmt", "yuvj444p"});
    int const firstSize = qFromBigEndian<uint16_t>(bytes.constData() + 4);
    QByteArray const content = QByteArray("Exif\0\0", 6) + Tags(orientation, bigEndian);
    return bytes.insert(4 + firstSize, "\xFF\xE1" + Encoded(static_cast<uint16_t>(content.size() + 2), true) + content);
}

QByteArray Chunk(QByteArray const& type, QByteArray const& content, bool isPng)
{
    QByteArray const size = Encoded(static_cast<uint32_t>(content.size()), isPng);
    return isPng ? size + type + content + QByteArray(4, '\0') : type + size + content;
}

// Before the last chunk, which is empty: behind the pixels.
QByteArray Png(int orientation)
{
    QByteArray bytes = Image("fields.png");
    return bytes.insert(bytes.size() - 12, Chunk("eXIf", Tags(orientation, /*bigEndian=*/true), true));
}

// In the extended format, whose first chunk tells the size of the picture and, by bit 3, that there is Exif.
QByteArray Webp(int orientation)
{
    QByteArray const simple = Image("fields.webp", {"-c:v", "libwebp", "-lossless", "1"});
    QByteArray const extended = Chunk("VP8X", QByteArray("\x08\0\0\0\x2f\0\0\x1f\0\0", 10), false);
    QByteArray const content =
        "WEBP" + extended + simple.mid(12) + Chunk("EXIF", Tags(orientation, /*bigEndian=*/false), false);
    return Chunk("RIFF", content, false);
}

// FFmpeg's file with another directory at its end, which has the orientation in its place: entries stand in the order
// of their tags.
QByteArray Tiff(int orientation)
{
    QByteArray bytes = Image("fields.tif", {"-compression_algo", "raw"});
    auto const first = static_cast<int>(qFromLittleEndian<uint32_t>(bytes.constData() + 4));
    int const count = qFromLittleEndian<uint16_t>(bytes.constData() + first);
    QByteArray entries = bytes.mid(first + 2, 12 * count);
    int place = 0;
    while (qFromLittleEndian<uint16_t>(entries.constData() + place) < 0x0112)
        place += 12;
    entries.insert(place, Entry(0x0112, 3, 1, static_cast<uint32_t>(orientation), false));
    bytes.replace(4, 4, Encoded(static_cast<uint32_t>(bytes.size()), false));
    return bytes + Encoded(static_cast<uint16_t>(count + 1), false) + entries + QByteArray(4, '\0');
}

struct Place
{
    int x;
    int y;
};

// Where a field that is stored in `row` and `column` is seen, as the tag's definition has it: which side of the scene
// the first row is, and which the first column.
Place SeenAt(int orientation, int row, int column)
{
    bool const isLying = orientation >= 5; // the first row is a side
    bool const rowIsFar = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    bool const columnIsFar = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    int const across = rowIsFar ? rows - 1 - row : row;
    int const along = columnIsFar ? columns - 1 - column : column;
    return isLying ? Place{across, along} : Place{along, across};
}

// The colour at a place of the picture after turning it clockwise, `x` and `y` in fields.
Colour ColourOf(DecodedVideoFrame const& picture, Place place)
{
    int x = place.x;
    int y = place.y;
    switch (picture.rotation) {
    case 90:
        x = place.y;
        y = rows - 1 - place.x;
        break;
    case 180:
        x = columns - 1 - place.x;
        y = rows - 1 - place.y;
        break;
    case 270:
        x = columns - 1 - place.y;
        y = place.x;
        break;
    default:
        break;
    }
    uint8_t const* pixel = picture.data + (y * fieldSize + fieldSize / 2) * PaddedRowBytes(picture.width) +
                           3 * (x * fieldSize + fieldSize / 2);
    return {pixel[0], pixel[1], pixel[2]};
}

bool IsLike(Colour const& seen, Colour const& expected)
{
    for (size_t i = 0; i < 3; ++i)
        if (std::abs(seen[i] - expected[i]) > 12)
            return false;
    return true;
}

PictureStream::Picture PictureOf(QString const& path)
{
    PictureStream::Picture picture;
    auto const pictures = Source::OpenFile(path).OpenPictures();
    return pictures && pictures->Read(picture) == ReadResult::Got ? picture : nullptr;
}

void ExpectUpright(PictureStream::Picture const& picture, int orientation)
{
    ASSERT_TRUE(picture);
    ASSERT_EQ(picture->width, columns * fieldSize);
    ASSERT_EQ(picture->height, rows * fieldSize);
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column)
            EXPECT_TRUE(IsLike(ColourOf(*picture, SeenAt(orientation, row, column)), fields[row][column]))
                << "orientation " << orientation << ", row " << row << ", column " << column;
}

class ImageOrientationTest : public testing::Test
{
protected:
    QString Write(QString const& name, QByteArray const& bytes) const
    {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        return file.fileName();
    }

    QTemporaryDir folder;
};

bool IsUpright(ImageOrientation const& orientation)
{
    return !orientation.isMirrored && orientation.rotation == 0;
}

} // namespace

TEST_F(ImageOrientationTest, ShowsEachOrientationOfAJpegUpright)
{
    for (int orientation = 1; orientation <= 8; ++orientation)
        ExpectUpright(PictureOf(Write("a.jpg", Jpeg(orientation))), orientation);
}

TEST_F(ImageOrientationTest, ShowsEachOrientationOfAPngUpright)
{
    for (int orientation = 1; orientation <= 8; ++orientation)
        ExpectUpright(PictureOf(Write("a.png", Png(orientation))), orientation);
}

TEST_F(ImageOrientationTest, ShowsEachOrientationOfAWebpUpright)
{
    for (int orientation = 1; orientation <= 8; ++orientation)
        ExpectUpright(PictureOf(Write("a.webp", Webp(orientation))), orientation);
}

TEST_F(ImageOrientationTest, ShowsEachOrientationOfATiffUpright)
{
    for (int orientation = 1; orientation <= 8; ++orientation)
        ExpectUpright(PictureOf(Write("a.tif", Tiff(orientation))), orientation);
}

TEST_F(ImageOrientationTest, ReadsBothOrdersOfBytes)
{
    EXPECT_EQ(ImageOrientation::Of(Write("a.jpg", Jpeg(6, /*bigEndian=*/true))).rotation, 90);
    EXPECT_EQ(ImageOrientation::Of(Write("a.jpg", Jpeg(6, /*bigEndian=*/false))).rotation, 90);
}

TEST_F(ImageOrientationTest, CountsForEachPictureOfASequence)
{
    Write("shot.1.jpg", Jpeg(6));
    Write("shot.2.jpg", Jpeg(1));
    Write("shot.3.jpg", Jpeg(4));
    auto const pictures = Source::OpenSequence(folder.filePath("shot.%d.jpg")).OpenPictures();
    ASSERT_TRUE(pictures);
    for (int const orientation : {6, 1, 4}) {
        PictureStream::Picture picture;
        ASSERT_EQ(pictures->Read(picture), ReadResult::Got);
        ExpectUpright(picture, orientation);
    }
}

TEST_F(ImageOrientationTest, TakesNonsenseForUpright)
{
    for (int const orientation : {0, 9, 65535})
        EXPECT_TRUE(IsUpright(ImageOrientation::Of(Write("a.jpg", Jpeg(orientation))))) << orientation;
    EXPECT_TRUE(IsUpright(ImageOrientation::Of(Write("a.jpg", Image("fields.jpg")))));
    EXPECT_TRUE(IsUpright(ImageOrientation::Of(Write("empty.jpg", ""))));
    EXPECT_TRUE(IsUpright(ImageOrientation::Of(folder.filePath("none.jpg"))));
}

// Cut anywhere, the file ends the search; what there is of it counts.
TEST_F(ImageOrientationTest, SurvivesFilesThatEndEarly)
{
    for (QByteArray const& whole : {Jpeg(6), Png(6), Webp(6), Tiff(6)}) {
        for (int size = 0; size < whole.size(); size += size < 200 ? 1 : 97) {
            auto const orientation = ImageOrientation::Of(Write("cut", whole.left(size)));
            EXPECT_TRUE(orientation.rotation == 0 || orientation.rotation == 90) << size;
        }
    }
}
