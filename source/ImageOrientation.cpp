#include "source/ImageOrientation.h"

#include "decode/DecodedVideoFrame.h"
#include "decode/RowBytes.h"

#include <QByteArray>
#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace {

constexpr int orientationTag = 0x0112;
constexpr int shortType = 3; // 16 bits

// A file of many tiny parts is not read to its end.
constexpr int mostParts = 100000;

// Numbers and bytes of a file. What lies beyond its end is missing.
class FileBytes
{
public:
    explicit FileBytes(QString const& path) : file(path)
    {
        isOpen = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered); // only a few bytes here and there are read
    }

    QByteArray At(qint64 offset, int size) { return isOpen && file.seek(offset) ? file.read(size) : QByteArray(); }

    std::optional<uint32_t> Number(qint64 offset, int size, bool bigEndian)
    {
        QByteArray const bytes = At(offset, size);
        if (bytes.size() != size)
            return std::nullopt;
        if (size == 2)
            return bigEndian ? qFromBigEndian<uint16_t>(bytes.constData())
                             : qFromLittleEndian<uint16_t>(bytes.constData());
        return bigEndian ? qFromBigEndian<uint32_t>(bytes.constData()) : qFromLittleEndian<uint32_t>(bytes.constData());
    }

private:
    QFile file;
    bool isOpen = false;
};

// The tag in the first directory of the TIFF structure at `start`; 0 when there is none.
int FindInTiff(FileBytes& file, qint64 start)
{
    QByteArray const order = file.At(start, 4);
    bool const bigEndian = order == QByteArray::fromHex("4d4d002a");
    if (!bigEndian && order != QByteArray::fromHex("49492a00"))
        return 0;
    auto const offset = file.Number(start + 4, 4, bigEndian);
    auto const count = offset ? file.Number(start + *offset, 2, bigEndian) : std::nullopt;
    constexpr int entrySize = 12;
    for (uint32_t i = 0; count && i < *count; ++i) {
        qint64 const entry = start + *offset + 2 + i * entrySize;
        auto const tag = file.Number(entry, 2, bigEndian);
        if (!tag)
            return 0;
        if (*tag == orientationTag && file.Number(entry + 2, 2, bigEndian) == shortType)
            return static_cast<int>(file.Number(entry + 8, 2, bigEndian).value_or(0));
    }
    return 0;
}

// Of an Exif block, with the name that JPEG and some writers of WebP put before it or without.
int FindInExif(FileBytes& file, qint64 start)
{
    QByteArray const name("Exif\0\0", 6);
    return FindInTiff(file, file.At(start, 6) == name ? start + 6 : start);
}

// Segments: 0xFF, a type, and the size of what follows, itself included. The pixels come after the last of them.
int FindInJpeg(FileBytes& file)
{
    constexpr char application1 = '\xE1';
    constexpr char startOfScan = '\xDA';
    qint64 at = 2;
    for (int i = 0; i < mostParts; ++i) {
        QByteArray const head = file.At(at, 2);
        if (head.size() != 2 || head[0] != '\xFF' || head[1] == startOfScan)
            return 0;
        if (head[1] == '\xFF') { // filling
            ++at;
            continue;
        }
        auto const size = file.Number(at + 2, 2, /*bigEndian=*/true);
        if (head[1] == application1 && file.At(at + 4, 4) == "Exif")
            return FindInExif(file, at + 4);
        if (!size || *size < 2)
            return 0;
        at += 2 + *size;
    }
    return 0;
}

// Chunks: size, type, content, checksum.
int FindInPng(FileBytes& file)
{
    qint64 at = 8;
    for (int i = 0; i < mostParts; ++i) {
        auto const size = file.Number(at, 4, /*bigEndian=*/true);
        if (!size)
            return 0;
        if (file.At(at + 4, 4) == "eXIf")
            return FindInExif(file, at + 8);
        at += 12 + static_cast<qint64>(*size);
    }
    return 0;
}

// Chunks: type, size, content, filled to an even size.
int FindInWebp(FileBytes& file)
{
    qint64 at = 12;
    for (int i = 0; i < mostParts; ++i) {
        auto const size = file.Number(at + 4, 4, /*bigEndian=*/false);
        if (!size)
            return 0;
        if (file.At(at, 4) == "EXIF")
            return FindInExif(file, at + 8);
        at += 8 + static_cast<qint64>(*size) + *size % 2;
    }
    return 0;
}

int FindIn(FileBytes& file)
{
    QByteArray const head = file.At(0, 12);
    if (head.startsWith("\xFF\xD8\xFF"))
        return FindInJpeg(file);
    if (head.startsWith(QByteArray::fromHex("89504e470d0a1a0a")))
        return FindInPng(file);
    if (head.startsWith("RIFF") && head.endsWith("WEBP"))
        return FindInWebp(file);
    return FindInTiff(file, 0);
}

} // namespace

ImageOrientation ImageOrientation::Of(QString const& path)
{
    FileBytes file(path);
    switch (FindIn(file)) { // the number tells which sides of the scene the first row and the first column are
    case 2:
        return {true, 0};
    case 3:
        return {false, 180};
    case 4:
        return {true, 180};
    case 5:
        return {true, 270};
    case 6:
        return {false, 90};
    case 7:
        return {true, 90};
    case 8:
        return {false, 270};
    default:
        return {};
    }
}

void ImageOrientation::ApplyTo(DecodedVideoFrame& picture) const
{
    struct Pixel
    {
        uint8_t components[3];
    };
    picture.rotation = rotation;
    for (int row = 0; isMirrored && row < picture.height; ++row) {
        size_t const offset = static_cast<size_t>(row) * static_cast<size_t>(PaddedRowBytes(picture.width));
        auto* pixels = reinterpret_cast<Pixel*>(picture.data + offset);
        std::reverse(pixels, pixels + picture.width);
    }
}
