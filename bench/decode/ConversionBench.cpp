// Compares the conversion by the stream's colours with libswscale's default one, on one core, without decoding:
//
//     ConversionBench [PAIRS] [FORMAT]     1080p pictures; FORMAT: part of a format's name

#include "bench/decode/PairedRuns.h"

#include "decode/PictureScaler.h"
#include "decode/colour/StreamConverter.h"
#include "media/FfmpegBridge.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int defaultPairs = 21;
constexpr int picturesOfARun = 4;

enum class Light { Sdr, Pq, Hlg, Linear, Bt2020 };

struct Case
{
    AVPixelFormat format;
    Light light;
    int codedWidth;
    double goal;
    bool isExact;
    bool isInterlaced;
};

constexpr Case cases[] = {
    {AV_PIX_FMT_GBRP10LE, Light::Sdr, width, 0.2, false, false},
    {AV_PIX_FMT_GBRP10BE, Light::Sdr, width, 0.2, false, false},
    {AV_PIX_FMT_GBRP12LE, Light::Sdr, width, 0.2, false, false},
    {AV_PIX_FMT_GBRPF32LE, Light::Sdr, width, 0.2, false, false},
    {AV_PIX_FMT_GBRPF32LE, Light::Linear, width, 0.2, false, false},
    {AV_PIX_FMT_RGB48LE, Light::Sdr, width, 0.1, false, false},
    {AV_PIX_FMT_RGB48BE, Light::Sdr, width, 0.1, false, false},
    {AV_PIX_FMT_RGBA64BE, Light::Sdr, width, 0.1, false, false},
    {AV_PIX_FMT_YUV444P, Light::Sdr, width, 0.4, false, false},
    {AV_PIX_FMT_YUV444P10LE, Light::Sdr, width, 0.4, false, false},
    {AV_PIX_FMT_YUV444P12LE, Light::Sdr, width, 0.4, false, false},
    {AV_PIX_FMT_YUV420P10LE, Light::Sdr, width, 0.75, false, false},
    {AV_PIX_FMT_YUV422P10LE, Light::Sdr, width, 0.75, false, false},
    {AV_PIX_FMT_YUV420P, Light::Sdr, width, 1.05, false, false},
    {AV_PIX_FMT_YUV422P, Light::Sdr, width, 1.05, false, false},
    {AV_PIX_FMT_YUVJ420P, Light::Sdr, width, 1.05, false, false},
    {AV_PIX_FMT_YUV420P, Light::Sdr, width, 0.0, true, false},
    {AV_PIX_FMT_YUV420P, Light::Sdr, width, 0.0, false, true},
    {AV_PIX_FMT_YUV420P, Light::Sdr, 1440, 0.0, false, false},
    {AV_PIX_FMT_NV12, Light::Sdr, width, 0.0, false, false},
    {AV_PIX_FMT_GRAY8, Light::Sdr, width, 0.0, false, false},
    {AV_PIX_FMT_GBRP, Light::Sdr, width, 0.0, false, false},
    {AV_PIX_FMT_YUV420P10LE, Light::Pq, width, 0.0, false, false},
    {AV_PIX_FMT_YUV420P10LE, Light::Hlg, width, 0.0, false, false},
    {AV_PIX_FMT_YUV420P10LE, Light::Bt2020, width, 0.0, false, false},
};

FfmpegPtr<AVFrame> MakePicture(Case const& one)
{
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    frame->format = one.format;
    frame->width = one.codedWidth;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        std::exit(1);
    AVPixFmtDescriptor const& format = *av_pix_fmt_desc_get(one.format);
    for (int plane = 0; plane < 4 && frame->data[plane]; ++plane) {
        bool const isChroma = plane > 0 && format.log2_chroma_h > 0;
        auto const bytes =
            static_cast<size_t>(frame->linesize[plane]) * static_cast<size_t>(isChroma ? (height + 1) / 2 : height);
        int const depth = format.comp[0].depth;
        for (size_t i = 0; i + 4 <= bytes; i += 4) {
            uint32_t const noise = static_cast<uint32_t>(i / 4) * 2654435761u >> 7;
            uint32_t word = noise;
            float const number = static_cast<float>(noise & 0xffff) / 65536.0f;
            if ((format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0)
                std::memcpy(&word, &number, sizeof word);
            else if (depth > 8 && depth < 16)
                word &= ((1u << depth) - 1u) * 0x10001u;
            std::memcpy(frame->data[plane] + i, &word, sizeof word);
        }
    }
    switch (one.light) {
    case Light::Pq:
        frame->color_trc = AVCOL_TRC_SMPTE2084;
        break;
    case Light::Hlg:
        frame->color_trc = AVCOL_TRC_ARIB_STD_B67;
        break;
    case Light::Bt2020:
        frame->color_primaries = AVCOL_PRI_BT2020;
        break;
    case Light::Sdr:
    case Light::Linear:
        break;
    }
    if (one.isInterlaced)
        FfmpegBridge::MarkInterlaced(frame.get());
    return frame;
}

std::string NameOf(Case const& one)
{
    std::string name = av_get_pix_fmt_name(one.format);
    char const* const lights[] = {"", ", PQ", ", HLG", ", linear", ", BT.2020"};
    name += lights[static_cast<int>(one.light)];
    if (one.codedWidth != width)
        name += ", stretched";
    if (one.isExact)
        name += ", exact";
    if (one.isInterlaced)
        name += ", interlaced";
    return name;
}

void Measure(Case const& one, int pairs)
{
    auto const frame = MakePicture(one);
    PictureScaler::Layout layout;
    layout.width = one.codedWidth;
    layout.height = height;
    layout.format = one.format;
    layout.outputWidth = width;
    layout.outputHeight = height;
    layout.outputStride = width * 3;
    std::vector<uint8_t> ourRows(static_cast<size_t>(layout.outputStride) * height + 64);
    std::vector<uint8_t> theirRows(ourRows.size());
    StreamConverter converter;
    ColourSettings settings;
    settings.exact = one.isExact;
    converter.SetSettings(settings);
    PictureScaler scaler;
    bool succeeds = true;
    auto const runs = PairedRuns::Measure(
        pairs,
        [&] {
            for (int i = 0; i < picturesOfARun; ++i)
                succeeds = converter.Convert(*frame, layout, one.light == Light::Linear, ourRows.data()) && succeeds;
        },
        [&] {
            for (int i = 0; i < picturesOfARun; ++i)
                succeeds = scaler.Convert(*frame, layout, theirRows.data()) && succeeds;
        });
    std::printf("| %-26s | %6.2f | %6.2f | %5.3f | **%5.3f** | %5.3f |", NameOf(one).c_str(),
                runs.ours * 1000.0 / picturesOfARun, runs.theirs * 1000.0 / picturesOfARun, runs.ratio.lowest,
                runs.ratio.median, runs.ratio.highest);
    std::printf(" %5.3f |", runs.cpuRatio.median);
    if (one.goal > 0.0)
        std::printf(" %4.2f", one.goal);
    std::printf(" |%s\n", succeeds ? "" : " NOT CONVERTED");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    int const pairs = argc > 1 ? std::atoi(argv[1]) : defaultPairs;
    std::printf("| Picture | Ours, ms | Theirs, ms | Lowest | Median | Highest | Processor | Goal "
                "|\n|---|---|---|---|---|---|---|---|\n");
    for (Case const& one : cases)
        if (argc < 3 || NameOf(one).find(argv[2]) != std::string::npos)
            Measure(one, pairs);
    return 0;
}
