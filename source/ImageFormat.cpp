#include "source/ImageFormat.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>

#include <array>

namespace {

struct Signature
{
    char const* format;
    int offset;
    QByteArray bytes;
};

QString FormatBySignature(QByteArray const& head)
{
    static std::array<Signature, 31> const signatures = {{
        {"png", 0, QByteArray::fromHex("89504e470d0a1a0a")},
        {"jpegls", 0, QByteArray::fromHex("ffd8fff7")},
        {"mjpeg", 0, QByteArray::fromHex("ffd8ff")},
        {"dpx", 0, "SDPX"},
        {"dpx", 0, "XPDS"},
        {"exr", 0, QByteArray::fromHex("762f3101")},
        {"tiff", 0, QByteArray::fromHex("49492a00")},
        {"tiff", 0, QByteArray::fromHex("4d4d002a")},
        {"bmp", 0, "BM"},
        {"webp", 8, "WEBP"},
        {"jpeg2000", 0, QByteArray::fromHex("0000000c6a5020200d0a870a")},
        {"jpeg2000", 0, QByteArray::fromHex("ff4fff51")},
        {"jpegxl", 0, QByteArray::fromHex("ff0a")},
        {"jpegxl", 0, QByteArray::fromHex("0000000c4a584c200d0a870a")},
        {"psd", 0, "8BPS"},
        {"dds", 0, "DDS "},
        {"qoi", 0, "qoif"},
        {"hdr", 0, "#?RADIANCE"},
        {"hdr", 0, "#?RGBE"},
        {"pam", 0, "P7\n"},
        {"pfm", 0, "PF\n"},
        {"pfm", 0, "Pf\n"},
        {"pcx", 0, QByteArray::fromHex("0a0001")},
        {"pcx", 0, QByteArray::fromHex("0a0201")},
        {"pcx", 0, QByteArray::fromHex("0a0301")},
        {"pcx", 0, QByteArray::fromHex("0a0401")},
        {"pcx", 0, QByteArray::fromHex("0a0501")},
        {"sgi", 0, QByteArray::fromHex("01da")},
        {"pbm", 0, "P4"},
        {"pgm", 0, "P5"},
        {"ppm", 0, "P6"},
    }};
    for (Signature const& signature : signatures) {
        if (head.mid(signature.offset, signature.bytes.size()) == signature.bytes)
            return QString::fromLatin1(signature.format);
    }
    return {};
}

// The one format without a signature: an image type that exists, a depth that exists, and the name.
bool IsTarga(QByteArray const& head, QString const& suffix)
{
    if (suffix != QLatin1String("tga") || head.size() < 18)
        return false;
    int const imageType = head.at(2) & ~8; // 8: run-length
    int const depth = static_cast<unsigned char>(head.at(16));
    return imageType >= 1 && imageType <= 3 && (depth == 8 || depth == 15 || depth == 16 || depth == 24 || depth == 32);
}

} // namespace

QString ImageFormatOf(QString const& path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    QByteArray const head = file.read(32);
    QString const suffix = QFileInfo(path).suffix().toLower();
    if (IsTarga(head, suffix))
        return QStringLiteral("targa");
    bool const isStream = suffix == QLatin1String("mjpg") || suffix == QLatin1String("mjpeg");
    return isStream ? QString() : FormatBySignature(head);
}

bool IsLinearFormat(QString const& format)
{
    return format == QLatin1String("exr");
}
