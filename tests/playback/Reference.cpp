#include "Reference.h"

#include "media/FfmpegBridge.h"
#include "media/FfmpegPtr.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/mem.h>
#include <libavutil/murmur3.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>

namespace {

struct Input
{
    FfmpegPtr<AVFormatContext> format;
    FfmpegPtr<AVCodecContext> codec;
    AVStream* stream = nullptr;
};

Input OpenBest(QString const& path, AVMediaType type, bool threads)
{
    Input input;
    AVFormatContext* format = nullptr;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "start_number_range", "1000", 0); // of rows of images
    int const result = avformat_open_input(&format, path.toUtf8().constData(), nullptr, &options);
    av_dict_free(&options);
    if (result < 0)
        throw std::runtime_error("cannot open " + path.toStdString());
    input.format.reset(format);
    avformat_find_stream_info(format, nullptr);
    int const index = av_find_best_stream(format, type, -1, -1, nullptr, 0);
    if (index < 0)
        return input;
    input.stream = format->streams[index];
    auto const* decoder = avcodec_find_decoder(input.stream->codecpar->codec_id);
    input.codec.reset(avcodec_alloc_context3(decoder));
    avcodec_parameters_to_context(input.codec.get(), input.stream->codecpar);
    bool const isTheora = input.codec->codec_id == AV_CODEC_ID_THEORA; // not exact behind frame threads
    input.codec->thread_count = threads && !isTheora ? 0 : 1;
    if (avcodec_open2(input.codec.get(), decoder, nullptr) < 0)
        throw std::runtime_error("cannot decode " + path.toStdString());
    return input;
}

// Every frame in order of output; the time of the packet that was sent last comes with it.
void DecodeAll(Input& input, std::function<bool(AVFrame*)> const& take)
{
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    bool more = true;
    while (more) {
        bool const got = av_read_frame(input.format.get(), packet.get()) >= 0;
        if (got && packet->stream_index != input.stream->index) {
            av_packet_unref(packet.get());
            continue;
        }
        avcodec_send_packet(input.codec.get(), got ? packet.get() : nullptr);
        av_packet_unref(packet.get());
        while (more && avcodec_receive_frame(input.codec.get(), frame.get()) >= 0)
            more = take(frame.get());
        more = more && got;
    }
}

double PerTick(AVStream const* stream)
{
    return static_cast<double>(stream->time_base.num) / stream->time_base.den * 1000000.0;
}

QByteArray HashFrame(AVFrame const* frame, AVCodecContext const* codec, float aspect, FfmpegPtr<SwsContext>& scaler)
{
    int const width = static_cast<int>(static_cast<float>(codec->width) * aspect);
    int const stride = (3 * width + 64 + 63) / 64 * 64;
    auto const format = static_cast<AVPixelFormat>(frame->format);
    scaler.reset(sws_getCachedContext(scaler.release(), codec->width, codec->height, format, width, codec->height,
                                      AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr, nullptr, nullptr));
    static std::vector<uint8_t> rows; // fresh pages for each picture would cost more than the picture
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

// A picture that is over before 0 is no part of the media, and one that reaches into it begins there.
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

std::vector<Reference::Picture> DecodeAllPictures(QString const& path, double untimedRate, bool threads)
{
    std::vector<Reference::Picture> pictures;
    Input input = OpenBest(path, AVMEDIA_TYPE_VIDEO, threads);
    if (!input.stream)
        return pictures;
    FfmpegPtr<SwsContext> scaler;
    float const aspect = AspectOf(input.codec.get());
    double untimed = 0.0;
    double start = -1.0;
    DecodeAll(input, [&](AVFrame* frame) {
        bool const timed = frame->best_effort_timestamp != AV_NOPTS_VALUE;
        double const ticks = static_cast<double>(frame->best_effort_timestamp) * PerTick(input.stream);
        if (start < 0.0)
            start = timed ? std::max(static_cast<double>(static_cast<long long>(ticks)), 0.0) : 0.0;
        auto const time = static_cast<long long>(timed ? ticks - start : untimed);
        untimed += 1000000.0 / untimedRate;
        if (pictures.empty() || time > pictures.back().time)
            pictures.push_back({time, HashFrame(frame, input.codec.get(), aspect, scaler)});
        return true;
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
    Input input = OpenBest(path, AVMEDIA_TYPE_VIDEO, false);
    long long time = 0;
    if (!input.stream || (input.stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
        return time;
    DecodeAll(input, [&](AVFrame* frame) {
        time = static_cast<long long>(static_cast<double>(frame->best_effort_timestamp) * PerTick(input.stream));
        return false;
    });
    return std::max(time, 0LL);
}

static Reference::Sound DecodeAllSound(QString const& path)
{
    Reference::Sound sound;
    Input input = OpenBest(path, AVMEDIA_TYPE_AUDIO, false);
    if (!input.stream)
        return sound;
    AVCodecContext* const codec = input.codec.get();
    FfmpegPtr<SwrContext> resampler;
    DecodeAll(input, [&](AVFrame* frame) {
        if (!resampler) {
            sound.channels = FfmpegBridge::ChannelCount(codec);
            sound.sampleRate = codec->sample_rate;
            resampler = MakeResampler(codec);
        }
        size_t const before = sound.samples.size();
        sound.samples.resize(before + static_cast<size_t>(frame->nb_samples * sound.channels));
        auto* target = reinterpret_cast<uint8_t*>(sound.samples.data() + before);
        swr_convert(resampler.get(), &target, frame->nb_samples, const_cast<uint8_t const**>(frame->extended_data),
                    frame->nb_samples);
        return true;
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

QString Reference::SoundCodec(QString const& path)
{
    Input const input = OpenBest(path, AVMEDIA_TYPE_AUDIO, false);
    return input.stream ? QString::fromLatin1(avcodec_get_name(input.stream->codecpar->codec_id)) : QString();
}
