// The exact picture at a time, as PNG: the last one that starts at or before it, which is the one that decoding the
// whole file would show then. MoviePictures knows what containers do to seeks; a QImage takes the bytes as they are.

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "source/MoviePictures.h"

#include <QFile>
#include <QImage>
#include <QTransform>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

using Picture = std::shared_ptr<DecodedVideoFrame>;

// Empty when there is none.
Picture FindPicture(QString const& path, long long time)
{
    auto const info = std::make_shared<MediaInfo>(path);
    if (!MediaReader::ParseMedia(info))
        return {};
    MoviePictures reader(info, /*untimedRate=*/25.0);
    Picture picture; // a program with a window would also hand a check over: whether it is still wanted
    if (reader.Open())
        reader.ReadAt(time, picture);
    return picture;
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
