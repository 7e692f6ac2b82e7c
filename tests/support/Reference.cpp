#include "tests/support/Reference.h"

#include "media/FfmpegBridge.h"

#include <QCryptographicHash>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/imgutils.h>
#include <libavutil/mem.h>
#include <libavutil/murmur3.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

void Require(bool holds, char const* what)
{
    if (!holds)
        throw std::runtime_error(what);
}

} // namespace

FfmpegPtr<AVFormatContext> OpenPlainly(QString const& path)
{
    AVFormatContext* opened = nullptr;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "start_number_range", "1000", 0); // for image sequences
    int const result = avformat_open_input(&opened, path.toUtf8().constData(), nullptr, &options);
    av_dict_free(&options);
    Require(result >= 0, "cannot open the input");
    FfmpegPtr<AVFormatContext> format(opened);
    avformat_find_stream_info(opened, nullptr);
    return format;
}

ReferenceInput::ReferenceInput(QString const& path, int mediaType, int threads)
    : ReferenceInput(OpenPlainly(path), mediaType, threads)
{}

ReferenceInput::ReferenceInput(FfmpegPtr<AVFormatContext> opened, int mediaType, int threads)
    : format(std::move(opened))
{
    streamIndex = av_find_best_stream(format.get(), static_cast<AVMediaType>(mediaType), -1, -1, nullptr, 0);
    Require(streamIndex >= 0, "no such stream");
    AVCodecParameters const* parameters = format->streams[streamIndex]->codecpar;
    codec.reset(avcodec_alloc_context3(nullptr));
    Require(avcodec_parameters_to_context(codec.get(), parameters) >= 0, "no codec context");
    codec->thread_count = codec->codec_id == AV_CODEC_ID_THEORA ? 1 : threads; // its frame threads are not exact
    AVCodec const* decoder = avcodec_find_decoder(parameters->codec_id);
    Require(decoder && avcodec_open2(codec.get(), decoder, nullptr) >= 0, "cannot open the decoder");
}

ReferenceInput::~ReferenceInput() = default;

double ReferenceInput::TickUs() const
{
    AVRational const base = format->streams[streamIndex]->time_base;
    return static_cast<double>(base.num) / static_cast<double>(base.den) * 1000000.0;
}

FfmpegPtr<AVPacket> ReferenceInput::NextPacket()
{
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        if (packet->stream_index == streamIndex)
            return packet;
        av_packet_unref(packet.get());
    }
    return nullptr;
}

void ReferenceInput::DecodeAll(std::function<void(AVFrame& frame)> const& take)
{
    DecodeUntil([&](AVFrame& frame) {
        take(frame);
        return false;
    });
}

void ReferenceInput::DecodeUntil(std::function<bool(AVFrame& frame)> const& isEnough)
{
    FfmpegPtr<AVFrame> const frame(av_frame_alloc());
    for (bool more = true; more;) {
        auto const packet = NextPacket();
        more = packet != nullptr;
        avcodec_send_packet(codec.get(), packet.get());
        while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
            if (isEnough(*frame))
                return;
        }
    }
}

FfmpegPtr<AVPacket> EmptyPacket()
{
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    packet->stream_index = -1;
    return packet;
}

int RowBytes(int width)
{
    return (width * 3 + 3) / 4 * 4;
}

std::vector<uint8_t> ConvertPlainly(AVFrame const& frame, int outputWidth)
{
    auto const format = static_cast<AVPixelFormat>(frame.format);
    FfmpegPtr<SwsContext> const scaler(sws_getContext(frame.width, frame.height, format, outputWidth, frame.height,
                                                      AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr, nullptr, nullptr));
    Require(scaler != nullptr, "no conversion");
    auto const roomyStride = static_cast<size_t>((outputWidth + 128) / 64 * 64 * 3);
    std::vector<uint8_t> roomy(roomyStride * static_cast<size_t>(frame.height + 1));
    uint8_t* const planes[4] = {roomy.data()};
    int const strides[4] = {static_cast<int>(roomyStride)};
    sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);

    auto const stride = static_cast<size_t>(RowBytes(outputWidth));
    std::vector<uint8_t> picture(stride * static_cast<size_t>(frame.height));
    for (size_t row = 0; row < static_cast<size_t>(frame.height); ++row)
        std::memcpy(&picture[row * stride], &roomy[row * roomyStride], static_cast<size_t>(outputWidth) * 3);
    return picture;
}

std::vector<uint8_t> EncodeGammaPlainly(std::vector<uint8_t> bytes)
{
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(std::floor(255.0 * std::pow(byte / 255.0, 1.0 / 2.2) + 0.5));
    return bytes;
}

QByteArray Md5OfPicture(uint8_t const* data, int width, int height)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    for (int row = 0; row < height; ++row)
        hash.addData(QByteArray::fromRawData(
            reinterpret_cast<char const*>(data) + static_cast<qsizetype>(row) * RowBytes(width), width * 3));
    return hash.result().toHex();
}

FfmpegPtr<AVFrame> NoisePicture(int width, int height, int pixelFormat, uint32_t seed)
{
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = pixelFormat;
    Require(av_frame_get_buffer(frame.get(), 0) >= 0, "no picture");
    AVPixFmtDescriptor const* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(pixelFormat));
    int const depth = descriptor->comp[0].depth;
    uint32_t state = seed * 2654435761u + 1u;
    auto const next = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    };
    bool const hasPalette = (descriptor->flags & AV_PIX_FMT_FLAG_PAL) != 0;
    for (int plane = 0; plane < 4 && frame->data[plane]; ++plane) {
        if (plane == 1 && hasPalette) {
            for (uint32_t i = 0; i < 256; ++i) {
                uint32_t const colour = 0xff000000u | ((i * 0x010203u + 0x402010u) & 0xffffffu);
                std::memcpy(frame->data[1] + i * 4, &colour, 4);
            }
            continue;
        }
        bool const isChroma = plane == 1 || plane == 2;
        int const rows = isChroma ? AV_CEIL_RSHIFT(height, descriptor->log2_chroma_h) : height;
        int const bytes = av_image_get_linesize(static_cast<AVPixelFormat>(pixelFormat), width, plane);
        for (int row = 0; row < rows; ++row) {
            uint8_t* line = frame->data[plane] + static_cast<ptrdiff_t>(row) * frame->linesize[plane];
            if (depth <= 8) {
                for (int i = 0; i < bytes; ++i)
                    line[i] = static_cast<uint8_t>(next());
                continue;
            }
            for (int i = 0; i + 1 < bytes; i += 2) {
                auto const value = static_cast<uint16_t>(next() & ((1u << std::min(depth, 16)) - 1u));
                std::memcpy(line + i, &value, 2);
            }
        }
    }
    return frame;
}

namespace {

// Null if the file has no such stream.
std::unique_ptr<ReferenceInput> OpenBest(QString const& path, AVMediaType type, int threads)
{
    auto format = OpenPlainly(path);
    if (av_find_best_stream(format.get(), type, -1, -1, nullptr, 0) < 0)
        return nullptr;
    return std::make_unique<ReferenceInput>(std::move(format), type, threads);
}

AVStream const* StreamOf(ReferenceInput const& input)
{
    return input.Format()->streams[input.StreamIndex()];
}

QByteArray HashFrame(AVFrame const* frame, AVCodecContext const* codec, float aspect, FfmpegPtr<SwsContext>& scaler)
{
    int const width = static_cast<int>(static_cast<float>(codec->width) * aspect);
    int const stride = (3 * width + 64 + 63) / 64 * 64;
    auto const format = static_cast<AVPixelFormat>(frame->format);
    scaler.reset(sws_getCachedContext(scaler.release(), codec->width, codec->height, format, width, codec->height,
                                      AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr, nullptr, nullptr));
    static std::vector<uint8_t> rows; // static: fresh pages for each picture would cost more than the conversion
    rows.resize(std::max(rows.size(), static_cast<size_t>(stride) * static_cast<size_t>(codec->height) + 256));
    uint8_t* planes[4] = {rows.data(), nullptr, nullptr, nullptr};
    int strides[4] = {stride, 0, 0, 0};
    sws_scale(scaler.get(), frame->data, frame->linesize, 0, codec->height, planes, strides);
    return Reference::HashOf(planes[0], width, codec->height, stride);
}

float AspectOf(AVCodecContext const* codec)
{
    AVRational const ratio = codec->sample_aspect_ratio;
    double const aspect = ratio.den == 0 ? 1.0 : static_cast<double>(ratio.num) / ratio.den;
    return aspect > 0.0 ? static_cast<float>(aspect) : 1.0f;
}

// Drops pictures that end before 0, and moves the start of one that reaches into it to 0.
void BeginAtZero(std::vector<Reference::Picture>& pictures)
{
    while (pictures.size() > 1 && pictures[1].time <= 0)
        pictures.erase(pictures.begin());
    if (!pictures.empty())
        pictures.front().time = std::max(pictures.front().time, 0LL);
}

FfmpegPtr<SwrContext> MakeResampler(AVCodecContext const* codec)
{
    FfmpegPtr<SwrContext> resampler(swr_alloc());
    uint64_t const stated = FfmpegBridge::ChannelLayoutMask(codec);
    uint64_t const layout =
        stated != 0 ? stated : FfmpegBridge::DefaultChannelLayout(FfmpegBridge::ChannelCount(codec));
    FfmpegBridge::SetResamplerInputLayout(resampler.get(), layout);
    FfmpegBridge::SetResamplerOutputLayout(resampler.get(), layout);
    av_opt_set_int(resampler.get(), "in_sample_rate", codec->sample_rate, 0);
    av_opt_set_int(resampler.get(), "out_sample_rate", codec->sample_rate, 0);
    av_opt_set_sample_fmt(resampler.get(), "in_sample_fmt", codec->sample_fmt, 0);
    av_opt_set_sample_fmt(resampler.get(), "out_sample_fmt", AV_SAMPLE_FMT_S16, 0);
    if (swr_init(resampler.get()) < 0)
        throw std::runtime_error("cannot convert the sound");
    return resampler;
}

} // namespace

PlaybackOptions Reference::PlainOptions()
{
    PlaybackOptions options;
    options.colours = ColourSettings();
    return options;
}

QByteArray Reference::HashOf(unsigned char const* data, int width, int height, int stride)
{
    std::unique_ptr<AVMurMur3, decltype(&av_free)> const state(av_murmur3_alloc(), &av_free);
    av_murmur3_init(state.get());
    for (int y = 0; y < height; ++y)
        av_murmur3_update(state.get(), data + static_cast<ptrdiff_t>(y) * stride, static_cast<size_t>(3 * width));
    QByteArray hash(16, 0);
    av_murmur3_final(state.get(), reinterpret_cast<uint8_t*>(hash.data()));
    return hash;
}

namespace {

std::vector<Reference::Picture> DecodeAllPictures(QString const& path, double untimedRate, bool threads,
                                                  bool hashes = true)
{
    std::vector<Reference::Picture> pictures;
    auto const input = OpenBest(path, AVMEDIA_TYPE_VIDEO, threads ? 0 : 1);
    if (!input)
        return pictures;
    FfmpegPtr<SwsContext> scaler;
    float const aspect = AspectOf(input->Codec());
    double untimed = 0.0;
    double start = -1.0;
    input->DecodeAll([&](AVFrame& frame) {
        bool const timed = frame.best_effort_timestamp != AV_NOPTS_VALUE;
        double const ticks = static_cast<double>(frame.best_effort_timestamp) * input->TickUs();
        if (start < 0.0)
            start = timed ? std::max(static_cast<double>(static_cast<long long>(ticks)), 0.0) : 0.0;
        auto const time = static_cast<long long>(timed ? ticks - start : untimed);
        untimed += 1000000.0 / untimedRate;
        if (pictures.empty() || time > pictures.back().time)
            pictures.push_back({time, hashes ? HashFrame(&frame, input->Codec(), aspect, scaler) : QByteArray()});
    });
    BeginAtZero(pictures);
    return pictures;
}

} // namespace

std::vector<Reference::Picture> Reference::DecodePictures(QString const& path, double untimedRate)
{
    static std::map<std::pair<QString, double>, std::vector<Picture>> known;
    auto const [entry, isNew] = known.try_emplace({path, untimedRate});
    if (isNew)
        entry->second = DecodeAllPictures(path, untimedRate, true);
    return entry->second;
}

std::vector<long long> Reference::PictureTimes(QString const& path)
{
    std::vector<long long> times;
    for (Picture const& picture : DecodeAllPictures(path, 25.0, /*threads=*/true, /*hashes=*/false))
        times.push_back(picture.time);
    return times;
}

std::vector<Reference::Picture> Reference::DecodeDamagedPictures(QString const& path)
{
    std::vector<Picture> pictures = DecodePictures(path);
    for (bool const threads : {true, true, false}) {
        auto const others = DecodeAllPictures(path, 25.0, threads);
        for (size_t i = 0; i < pictures.size(); ++i) {
            if (i >= others.size() || others[i].hash != pictures[i].hash)
                pictures[i].hash.clear();
        }
    }
    return pictures;
}

long long Reference::FirstPictureTime(QString const& path)
{
    auto const input = OpenBest(path, AVMEDIA_TYPE_VIDEO, 1);
    long long time = 0;
    if (!input || (StreamOf(*input)->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
        return time;
    input->DecodeUntil([&](AVFrame& frame) {
        time = static_cast<long long>(static_cast<double>(frame.best_effort_timestamp) * input->TickUs());
        return true;
    });
    return std::max(time, 0LL);
}

static Reference::Sound DecodeAllSound(QString const& path)
{
    Reference::Sound sound;
    auto const input = OpenBest(path, AVMEDIA_TYPE_AUDIO, 1);
    if (!input)
        return sound;
    AVCodecContext* const codec = input->Codec();
    FfmpegPtr<SwrContext> resampler;
    input->DecodeAll([&](AVFrame& frame) {
        if (!resampler) {
            sound.channels = FfmpegBridge::ChannelCount(codec);
            sound.sampleRate = codec->sample_rate;
            resampler = MakeResampler(codec);
        }
        size_t const before = sound.samples.size();
        sound.samples.resize(before + static_cast<size_t>(frame.nb_samples * sound.channels));
        auto* target = reinterpret_cast<uint8_t*>(sound.samples.data() + before);
        swr_convert(resampler.get(), &target, frame.nb_samples, const_cast<uint8_t const**>(frame.extended_data),
                    frame.nb_samples);
    });
    return sound;
}

Reference::Sound const& Reference::DecodeSound(QString const& path)
{
    static std::map<QString, Sound> known;
    auto const [entry, isNew] = known.try_emplace(path);
    if (isNew)
        entry->second = DecodeAllSound(path);
    return entry->second;
}

double Reference::FirstGreen(QString const& path, bool isBt709)
{
    double green = 0.0;
    ReferenceInput(path, AVMEDIA_TYPE_VIDEO).DecodeUntil([&](AVFrame& frame) {
        double const luma = (frame.data[0][0] - 16) / 219.0;
        double const blue = (frame.data[1][0] - 128) / 224.0;
        double const red = (frame.data[2][0] - 128) / 224.0;
        double const ofRed = isBt709 ? 0.2126 : 0.299;
        double const ofBlue = isBt709 ? 0.0722 : 0.114;
        double const ofGreen = 1.0 - ofRed - ofBlue;
        green = 255.0 *
                (luma - 2.0 * ofBlue * (1.0 - ofBlue) / ofGreen * blue - 2.0 * ofRed * (1.0 - ofRed) / ofGreen * red);
        return true;
    });
    return green;
}

QString Reference::SoundCodec(QString const& path)
{
    auto const input = OpenBest(path, AVMEDIA_TYPE_AUDIO, 1);
    return input ? QString::fromLatin1(avcodec_get_name(input->Codec()->codec_id)) : QString();
}
