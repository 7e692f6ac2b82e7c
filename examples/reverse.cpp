// The pictures of a range from the last to the first, as raw RGB in one file. Codecs only go forwards: a stretch of the
// range at a time is decoded into a list, and the list is written from its end.
//
//     reverse MOVIE FROM TO RAW
//     ffplay -f rawvideo -pixel_format rgb24 -video_size WIDTHxHEIGHT RAW

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "source/MoviePictures.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

using Picture = std::shared_ptr<DecodedVideoFrame>;

// Microseconds whose pictures are held at a time: 160 MB for 1920 x 1080 at 25 a second. The longer, the fewer groups
// of pictures are decoded twice.
constexpr long long stretch = 1000000;

// Beyond the end of the movie that is its last picture.
Picture ShowingAt(MoviePictures& reader, long long time)
{
    Picture picture;
    reader.ReadAt(time, picture);
    return picture;
}

// Those that start in [from, to), in order.
QList<Picture> ReadStretch(MoviePictures& reader, long long from, long long to)
{
    QList<Picture> pictures;
    Picture picture;
    auto result = reader.ReadAt(from, picture);
    for (; result == ReadResult::Got && picture->startTime < to; result = reader.Read(picture)) {
        if (picture->startTime >= from) // the one showing at `from` may have begun before it
            pictures.append(picture);
    }
    return pictures;
}

// Without the bytes that fill up each row to a multiple of 4.
bool Write(QFile& file, DecodedVideoFrame const& picture)
{
    int const rowBytes = 3 * picture.width;
    int const stride = (rowBytes + 3) / 4 * 4;
    auto const* row = reinterpret_cast<char const*>(picture.data);
    for (int y = 0; y < picture.height; ++y, row += stride) {
        if (file.write(row, rowBytes) != rowBytes)
            return false;
    }
    return true;
}

bool WriteBackwards(MoviePictures& reader, long long from, long long to, QFile& file)
{
    Picture const last = ShowingAt(reader, to - 1);
    if (!last)
        return false;
    to = std::min(to, last->startTime + 1);
    for (long long end = to; end > from; end = std::max(end - stretch, from)) {
        auto const pictures = ReadStretch(reader, std::max(end - stretch, from), end);
        for (auto picture = pictures.rbegin(); picture != pictures.rend(); ++picture) {
            if (!Write(file, **picture))
                return false;
            std::printf("%lld us\n", (*picture)->startTime);
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        std::fprintf(stderr, "Usage: reverse MOVIE FROM TO RAW (seconds)\n");
        return 2;
    }
    AvGlobals::maxAudioOutputChannels = 2; // once, before any file is opened
    auto const info = std::make_shared<MediaInfo>(QFile::decodeName(argv[1]));
    MoviePictures reader(info, /*untimedRate=*/25.0);
    QFile file(QFile::decodeName(argv[4]));
    if (!MediaReader::ParseMedia(info) || !reader.Open() || !file.open(QIODevice::WriteOnly))
        return 1;
    long long const from = std::max(std::llround(std::atof(argv[2]) * 1e6), 0LL); // microseconds from the first picture
    long long const to = std::llround(std::atof(argv[3]) * 1e6);
    return to > from && WriteBackwards(reader, from, to, file) && file.flush() ? 0 : 1;
}
