#include "tests/support/GreyExr.h"

#include "tests/support/Media.h"

#include <QByteArray>

#include <cstdint>

namespace {

template <typename Value>
void Append(QByteArray& bytes, Value value)
{
    bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
}

void AppendAttribute(QByteArray& bytes, char const* name, char const* type, QByteArray const& value)
{
    bytes += QByteArray(name) + '\0' + type + '\0';
    Append<int32_t>(bytes, static_cast<int32_t>(value.size()));
    bytes += value;
}

} // namespace

QString WriteGreyExr(QString const& name)
{
    constexpr int width = 32;
    constexpr int height = 16;
    constexpr int channels = 3;
    QByteArray channelList;
    for (char const channel : {'B', 'G', 'R'}) {
        channelList += QByteArray(1, channel) + '\0';
        for (int32_t const value : {1, 0, 1, 1}) // half floats, for looking at, every pixel
            Append(channelList, value);
    }
    QByteArray window;
    for (int32_t const edge : {0, 0, width - 1, height - 1})
        Append(window, edge);
    QByteArray one;
    Append(one, 1.0f);

    QByteArray bytes = QByteArray::fromHex("762f310102000000");
    AppendAttribute(bytes, "channels", "chlist", channelList + '\0');
    AppendAttribute(bytes, "compression", "compression", QByteArray(1, 0));
    AppendAttribute(bytes, "dataWindow", "box2i", window);
    AppendAttribute(bytes, "displayWindow", "box2i", window);
    AppendAttribute(bytes, "lineOrder", "lineOrder", QByteArray(1, 0));
    AppendAttribute(bytes, "pixelAspectRatio", "float", one);
    AppendAttribute(bytes, "screenWindowCenter", "v2f", QByteArray(8, 0));
    AppendAttribute(bytes, "screenWindowWidth", "float", one);
    bytes += '\0';

    constexpr int rowBytes = width * channels * 2;
    auto const rows = static_cast<uint64_t>(bytes.size()) + height * sizeof(uint64_t);
    for (uint64_t row = 0; row < height; ++row)
        Append(bytes, rows + row * (2 * sizeof(int32_t) + rowBytes));
    for (int32_t row = 0; row < height; ++row) {
        Append(bytes, row);
        Append<int32_t>(bytes, rowBytes);
        bytes += QByteArray::fromHex("0038").repeated(rowBytes / 2); // 0.5
    }
    return WriteMedia(name, bytes);
}
