// Saves the exact picture at a time as PNG: the last picture that starts at or before that time, which is also the one
// that decoding the whole file would show. The engine corrects containers that seek inexactly. A QImage uses the
// picture's bytes without a copy.

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

constexpr int patience = 60000; // milliseconds to wait for a picture

// Null if there is none.
Picture FindPicture(QString const& path, long long time)
{
    PlaybackOptions options;
    options.withSound = false;
    options.colours = {}; // libswscale's default conversion, whatever the stream says
    PlaybackEngine engine(options);
    engine.Open(path);
    engine.Seek(time);
    return engine.WaitUntilReady(patience) ? engine.GetPicture() : nullptr;
}

bool Save(DecodedVideoFrame const& picture, QString const& path)
{
    int const rowBytes = (3 * picture.width + 3) / 4 * 4;
    QImage const image(picture.data, picture.width, picture.height, rowBytes, QImage::Format_RGB888); // no copy
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
