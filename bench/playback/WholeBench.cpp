// Compares whole processes from the file to RGB in the stream's colours: probing, decoding and converting, sequences on
// all processors, with `ffmpeg -i X -an -pix_fmt rgb24 -f null -`:
//
//     WholeBench CLIPS [PAIRS] [CASE]    prints the table; bench/decode/make-clips fills the folder CLIPS
//     WholeBench --read FILE             reads all pictures, the process that is compared

#include "bench/decode/PairedRuns.h"

#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "source/MoviePictures.h"
#include "source/SequencePictures.h"

#include <QCoreApplication>
#include <QDir>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdio>

namespace {

constexpr int defaultPairs = 7;

struct Case
{
    char const* clip; // a movie, or a folder of images
    double goal;
};

constexpr Case cases[] = {
    {"dpx10-1080", 0.6},    {"dpx10-uhd", 0.6},        {"exr-1080", 0.8},         {"png16-1080", 0.6},
    {"tiff16-1080", 0.6},   {"prores-1080.mov", 0.85}, {"hevc10-1080.mp4", 0.85}, {"h264-1080.mp4", 1.0},
    {"vp9-1080.webm", 1.0}, {"mjpeg-1080.avi", 1.0},
};

// The path of a movie; for a folder, the pattern of its image sequence.
QString InputOf(QString const& path)
{
    if (!QFileInfo(path).isDir())
        return path;
    QStringList const names = QDir(path).entryList(QDir::Files, QDir::Name);
    return names.isEmpty() ? path : path + "/%04d." + QFileInfo(names.first()).suffix();
}

std::unique_ptr<PictureStream> Open(QString const& path)
{
    SourceOptions const options;
    if (path.contains('%')) {
        QString error;
        return std::make_unique<SequencePictures>(ImageSequence::Find(path, options.sequenceHoles, error), options);
    }
    auto const info = std::make_shared<MediaInfo>(path);
    auto reader = std::make_unique<MoviePictures>(info, options.untimedRate, options.colours);
    return MediaReader::ParseMedia(info) && reader->Open() ? std::move(reader) : nullptr;
}

int ReadAll(QString const& path)
{
    auto const source = Open(path);
    int count = 0;
    std::shared_ptr<DecodedVideoFrame> picture;
    while (source && source->Read(picture) == ReadResult::Got)
        ++count;
    return count > 0 ? 0 : 1;
}

void Compare(Case const& one, QString const& input, int pairs)
{
    QString const self = QCoreApplication::applicationFilePath();
    QStringList const theirs = {"-v", "error", "-i", input, "-an", "-pix_fmt", "rgb24", "-f", "null", "-"};
    auto const runs = PairedRuns::Measure(
        pairs,
        [&] {
            PairedRuns::RunProcess(self, {"--read", input});
        },
        [&] { PairedRuns::RunProcess("ffmpeg", theirs); });
    std::printf("| %-16s | %8.1f | %8.1f | %5.3f | **%5.3f** | %5.3f | %4.2f |\n", one.clip, runs.ours * 1000.0,
                runs.theirs * 1000.0, runs.ratio.lowest, runs.ratio.median, runs.ratio.highest, one.goal);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    av_log_set_level(AV_LOG_ERROR);
    QCoreApplication const application(argc, argv);
    QStringList const arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "--read")
        return ReadAll(arguments.value(2));
    if (arguments.size() < 2) {
        std::fprintf(stderr, "usage: WholeBench CLIPS [PAIRS] [CASE]\n");
        return 2;
    }
    int const pairs = arguments.size() > 2 ? arguments.at(2).toInt() : defaultPairs;
    std::printf("| Clip | Ours, ms | ffmpeg, ms | Lowest | Median | Highest | Goal |\n|---|---|---|---|---|---|---|\n");
    for (Case const& one : cases)
        if (QString(one.clip).contains(arguments.value(3)))
            Compare(one, InputOf(arguments.at(1) + '/' + one.clip), pairs);
    return 0;
}
