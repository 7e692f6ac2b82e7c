// The exact picture at a time, as PNG: the last one that starts at or before it, which is the one that decoding the
// whole file would show then. The engine knows what containers do to seeks; a QImage takes the bytes as they are.

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <QFile>
#include <QImage>
#include <QTransform>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

using Picture = std::shared_ptr<DecodedVideoFrame const>;

constexpr int patience = 60000; // milliseconds

// Empty when there is none.
Picture FindPicture(QString const& path, long long time)
{
    PlaybackOptions options;
    options.withSound = false;
    options.colours = {}; // converted by libswscale's defaults, without a look at what the stream says
    PlaybackEngine engine(options);
    engine.Open(path);
    engine.Seek(time);
    return engine.WaitUntilReady(patience) ? engine.GetPicture() : nullptr;
}

bool Save(DecodedVideoFrame const& picture, QString const& path)
{
    int const rowBytes = (3 * picture.width + 3) / 4 * 4;
    QImage const image(picture.data, picture.width, picture.height, rowBytes, QImage::Format_RGB888); // not a copy
    return image.transformed(QTransform().rotate(picture.rotation)).save(path, "PNG");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "Usage: frame MOVIE SECONDS PNG\n");
        return 2;
    }
    AvGlobals::maxAudioOutputChannels = 2;                                   // once, before any file is opened
    auto const time = std::max(std::llround(std::atof(argv[2]) * 1e6), 0LL); // microseconds from the first picture
    auto const picture = FindPicture(QFile::decodeName(argv[1]), time);
    if (!picture || !Save(*picture, QFile::decodeName(argv[3])))
        return 1;
    std::printf("%lld us: %d x %d\n", picture->startTime, picture->width, picture->height);
    return 0;
}
