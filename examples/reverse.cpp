// Writes the pictures of a range from the last to the first, as raw RGB in one file. Codecs only decode forwards, so
// the engine decodes a segment at a time and caches it, and a step back finds its picture there.
//
//     reverse MOVIE FROM TO RAW
//     ffplay -f rawvideo -pixel_format rgb24 -video_size WIDTHxHEIGHT RAW

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int patience = 60000; // milliseconds for one picture

// Leaves out the padding that extends each row to a multiple of 4 bytes.
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

// False if no picture is shown in the range, or if the file cannot be written.
bool WriteBackwards(PlaybackEngine& engine, long long from, long long to, QFile& file)
{
    std::shared_ptr<DecodedVideoFrame const> last;
    for (engine.Seek(to - 1); engine.WaitUntilReady(patience); engine.Step(-1)) {
        auto const picture = engine.GetPicture();
        if (!picture || picture == last || picture->startTime < from)
            break; // no step leads before the first picture, or the range is done
        if (!Write(file, *picture))
            return false;
        std::printf("%lld us\n", picture->startTime);
        last = picture;
    }
    return last != nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        std::fprintf(stderr, "Usage: reverse MOVIE FROM TO RAW (seconds)\n");
        return 2;
    }
    AvGlobals::maxAudioOutputChannels = 2; // once, before any file is opened
    PlaybackOptions options;
    options.withSound = false;
    options.colours = {}; // libswscale's default conversion, whatever the stream says
    PlaybackEngine engine(options);
    engine.Open(QFile::decodeName(argv[1]));
    QFile file(QFile::decodeName(argv[4]));
    long long const from = std::max(std::llround(std::atof(argv[2]) * 1e6), 0LL); // microseconds from the first picture
    long long const to = std::llround(std::atof(argv[3]) * 1e6);
    bool const isWritten = to > from && file.open(QIODevice::WriteOnly) && WriteBackwards(engine, from, to, file);
    return isWritten && file.flush() ? 0 : 1;
}
