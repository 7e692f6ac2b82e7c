// Compares decoding to RGB records with the least that FFmpeg needs, and with the `ffmpeg` command:
//
//     DecodeBench CLIPS [PAIRS] [CASE]     prints the table; make-clips fills the folder CLIPS
//     DecodeBench --decode FILE...         probes and decodes, the process that is compared with `ffmpeg`
//     DecodeBench --decode-images FILE...  the same, each file an image
//     DecodeBench --probe FILE             probes, the process that is compared with `ffprobe`

#include "bench/decode/HostDecode.h"
#include "bench/decode/PairedRuns.h"
#include "bench/decode/PlainDecode.h"

#include "media/MediaInfo.h"

#include <QCoreApplication>
#include <QDir>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdio>

namespace {

constexpr size_t window = 4; // pictures that the host keeps
constexpr int defaultPairs = 11;

struct Case
{
    char const* clip;  // a movie, or a folder of images
    int outputWidth;   // 0: as coded
    bool isComparable; // with the command, which ignores the pixel aspect ratio
};

constexpr Case cases[] = {
    {"h264-1080.mp4", 0, true},   {"h264-uhd.mp4", 0, true},   {"h264-1440-sar.mp4", 1920, false},
    {"prores-1080.mov", 0, true}, {"mjpeg-1080.avi", 0, true}, {"vp9-1080.webm", 0, true},
    {"hevc10-1080.mp4", 0, true}, {"dpx10-1080", 0, true},     {"dpx10-uhd", 0, true},
    {"exr-1080", 0, true},
};

struct Source
{
    QStringList files;
    QString ffmpegInput;
    bool isImage = false;
};

Source SourceOf(QString const& path)
{
    if (!QFileInfo(path).isDir())
        return {{path}, path, false};
    Source source;
    source.isImage = true;
    for (QFileInfo const& file : QDir(path).entryInfoList(QDir::Files, QDir::Name)) {
        source.files << file.filePath();
        source.ffmpegInput = path + "/%04d." + file.suffix();
    }
    return source;
}

void Print(char const* name, char const* against, PairedRuns const& runs)
{
    std::printf("| %-17s | %-21s | %8.1f | %8.1f | %5.3f | **%5.3f** | %5.3f |", name, against, runs.ours * 1000.0,
                runs.theirs * 1000.0, runs.ratio.lowest, runs.ratio.median, runs.ratio.highest);
}

void CompareWithFloor(Case const& one, Source const& source, int pairs)
{
    auto const infos = HostDecode::Probe(source.files, source.isImage);
    int ours = 0;
    int theirs = 0;
    auto const runs = PairedRuns::Measure(
        pairs, [&] { ours = HostDecode::DecodeAll(infos, window); },
        [&] { theirs = PlainDecode(one.outputWidth).DecodeAll(source.files, source.isImage); });
    Print(one.clip, "floor", runs);
    std::printf(" %5.3f |%s\n", runs.cpuRatio.median, ours == theirs ? "" : " PICTURES DIFFER");
    std::fflush(stdout);
}

QStringList FfmpegArguments(Source const& source)
{
    return {"-v", "error", "-i", source.ffmpegInput, "-an", "-sws_flags", "bilinear", "-pix_fmt", "rgb24",
            "-f", "null",  "-"};
}

// Compares processes; ours also probes.
void CompareWithCommand(Case const& one, Source const& source, int pairs)
{
    QString const self = QCoreApplication::applicationFilePath();
    QStringList const arguments = QStringList(source.isImage ? "--decode-images" : "--decode") + source.files;
    auto const runs = PairedRuns::Measure(
        pairs, [&] { PairedRuns::RunProcess(self, arguments); },
        [&] { PairedRuns::RunProcess("ffmpeg", FfmpegArguments(source)); });
    Print(one.clip, "ffmpeg", runs);
    std::printf("       |\n");
    std::fflush(stdout);
}

// Compares an image sequence, already probed and decoded on all processors, with the whole process.
void CompareProbedWithCommand(Case const& one, Source const& source, int pairs)
{
    auto const infos = HostDecode::Probe(source.files, source.isImage);
    auto const runs = PairedRuns::Measure(
        pairs, [&] { HostDecode::DecodeRow(infos, window); },
        [&] { PairedRuns::RunProcess("ffmpeg", FfmpegArguments(source)); });
    Print(one.clip, "ffmpeg, probed before", runs);
    std::printf("       |\n");
    std::fflush(stdout);
}

void CompareProbe(Case const& one, Source const& source, int pairs)
{
    QString const self = QCoreApplication::applicationFilePath();
    QStringList const ffprobe = {"-v", "error", "-show_streams", source.ffmpegInput};
    auto const runs = PairedRuns::Measure(
        pairs,
        [&] {
            PairedRuns::RunProcess(self, {"--probe", source.ffmpegInput});
        },
        [&] { PairedRuns::RunProcess("ffprobe", ffprobe); });
    Print(one.clip, "ffprobe", runs);
    std::printf("       |\n");
    std::fflush(stdout);
}

int RunAlone(QStringList const& arguments)
{
    QString const mode = arguments.value(1);
    QStringList const files = arguments.mid(2);
    auto const infos = HostDecode::Probe(files, mode == "--decode-images");
    if (mode == "--probe")
        return !infos.empty() && infos.front()->IsInitialized() ? 0 : 1;
    return HostDecode::DecodeAll(infos, window) > 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    av_log_set_level(AV_LOG_ERROR);
    QCoreApplication const application(argc, argv);
    QStringList const arguments = QCoreApplication::arguments();
    if (arguments.value(1).startsWith("--"))
        return RunAlone(arguments);
    if (arguments.size() < 2) {
        std::fprintf(stderr, "usage: DecodeBench CLIPS [PAIRS] [CASE]\n");
        return 2;
    }
    int const pairs = arguments.size() > 2 ? arguments.at(2).toInt() : defaultPairs;
    std::printf("| Clip | Against | Ours, ms | Theirs, ms | Lowest | Median | Highest | Processor |\n"
                "|---|---|---|---|---|---|---|---|\n");
    for (Case const& one : cases) {
        Source const source = SourceOf(arguments.at(1) + '/' + one.clip);
        if (!QString(one.clip).contains(arguments.value(3)))
            continue;
        CompareWithFloor(one, source, pairs);
        if (one.isComparable)
            CompareWithCommand(one, source, pairs);
        if (source.isImage)
            CompareProbedWithCommand(one, source, pairs);
        else
            CompareProbe(one, source, pairs);
    }
    return 0;
}
