#include "player/picture/PictureLook.h"

#include "decode/DecodedVideoFrame.h"
#include "decode/RowBytes.h"

#include <QImage>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr double displayGamma = 2.2;
constexpr int fractionBits = 16;
constexpr QRgb opaque = 0xff000000;

// What each value of a channel adds to a result, with a fraction of 16 bits.
using Shares = std::array<std::array<int, 256>, 3>;

Shares SharesOf(float const* row)
{
    Shares shares;
    for (std::size_t channel = 0; channel < 3; ++channel)
        for (std::size_t value = 0; value < 256; ++value)
            shares[channel][value] = static_cast<int>(
                std::lround(static_cast<double>(row[channel]) * static_cast<double>(value) * (1 << fractionBits)));
    return shares;
}

int Result(Shares const& shares, QRgb pixel)
{
    auto const share = [&](std::size_t channel, int value) { return shares[channel][static_cast<std::size_t>(value)]; };
    int const sum = share(0, qRed(pixel)) + share(1, qGreen(pixel)) + share(2, qBlue(pixel));
    return std::clamp((sum + (1 << (fractionBits - 1))) >> fractionBits, 0, 255);
}

QImage FirstField(QImage const& picture, bool lowerFieldFirst)
{
    QImage doubled(picture.size(), picture.format());
    int const last = picture.height() - 1;
    for (int y = 0; y <= last; ++y) {
        int const row = std::min(y / 2 * 2 + (lowerFieldFirst ? 1 : 0), last);
        std::memcpy(doubled.scanLine(y), picture.constScanLine(row), static_cast<std::size_t>(picture.bytesPerLine()));
    }
    return doubled;
}

QImage BlendedFields(QImage const& picture)
{
    QImage blended(picture.size(), picture.format());
    int const last = picture.height() - 1;
    for (int y = 0; y <= last; ++y) {
        uchar const* const above = picture.constScanLine(std::max(y - 1, 0));
        uchar const* const here = picture.constScanLine(y);
        uchar const* const below = picture.constScanLine(std::min(y + 1, last));
        uchar* const result = blended.scanLine(y);
        for (int i = 0; i < 3 * picture.width(); ++i)
            result[i] = static_cast<uchar>((above[i] + 2 * here[i] + below[i] + 2) / 4);
    }
    return blended;
}

QString ChannelText(PictureLook::Channels channels)
{
    switch (channels) {
    case PictureLook::Channels::Red:
        return "Red alone";
    case PictureLook::Channels::Green:
        return "Green alone";
    case PictureLook::Channels::Blue:
        return "Blue alone";
    case PictureLook::Channels::Luma:
        return "Luma";
    default:
        return {};
    }
}

} // namespace

std::array<float, 9> PictureLook::GetMatrix() const
{
    std::array<float, 3> weights = {0.2126f, 0.7152f, 0.0722f};
    if (channels != Channels::Luma)
        weights = {channels == Channels::Red ? 1.0f : 0.0f, channels == Channels::Green ? 1.0f : 0.0f,
                   channels == Channels::Blue ? 1.0f : 0.0f};
    auto const gain = static_cast<float>(std::exp2(halfStops / 2.0 / displayGamma));
    std::array<float, 9> matrix;
    for (std::size_t i = 0; i < matrix.size(); ++i) {
        float const weight = channels == Channels::All ? (i % 4 == 0 ? 1.0f : 0.0f) : weights[i % 3];
        matrix[i] = gain * weight;
    }
    return matrix;
}

void PictureLook::Apply(QImage& painted) const
{
    std::array<float, 9> const matrix = GetMatrix();
    Shares const red = SharesOf(&matrix[0]);
    Shares const green = SharesOf(&matrix[3]);
    Shares const blue = SharesOf(&matrix[6]);
    for (int y = 0; y < painted.height(); ++y) {
        auto* const row = reinterpret_cast<QRgb*>(painted.scanLine(y));
        for (int x = 0; x < painted.width(); ++x)
            if (row[x] >= opaque)
                row[x] = qRgb(Result(red, row[x]), Result(green, row[x]), Result(blue, row[x]));
    }
}

QImage PictureLook::ImageOf(DecodedVideoFrame const& picture, bool lowerFieldFirst) const
{
    QImage image(picture.data, picture.width, picture.height, PaddedRowBytes(picture.width), QImage::Format_RGB888);
    switch (fields) {
    case Fields::First:
        return FirstField(image, lowerFieldFirst);
    case Fields::Blended:
        return BlendedFields(image);
    default:
        return image;
    }
}

QString PictureLook::Describe() const
{
    QStringList parts;
    if (channels != Channels::All)
        parts << ChannelText(channels);
    if (halfStops != 0)
        parts << QString("Exposure %1%2").arg(halfStops > 0 ? "+" : "−").arg(std::abs(halfStops) / 2.0, 0, 'f', 1);
    if (fields != Fields::Both)
        parts << (fields == Fields::First ? "First field" : "Fields blended");
    return parts.join(", ");
}
