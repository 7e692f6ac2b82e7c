#include "decode/VideoDecoder.h"

#include "common/Logger.h"
#include "common/Settings.h"
#include "decode/CodecStep.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/Microseconds.h"
#include "decode/PictureBuffers.h"
#include "decode/PictureScaler.h"
#include "decode/colour/StreamConverter.h"
#include "media/FfmpegBridge.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/cpu.h>
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace {

constexpr int bytesPerPixel = 3;

// A drain ends by itself; a context that was never opened would answer with errors for ever.
constexpr int mostFruitlessReceives = 100;

constexpr int mostScalerThreads = 16;

// Far more than any sane stream completes ahead of its packets, and little enough memory.
constexpr size_t mostHeldFrames = 16;

bool IsEmpty(AVPacket const& packet)
{
    return packet.size == 0 && !packet.data;
}

void LogDecodingError()
{
    Logger::GetInstance().Error("Error decoding video packet.");
}

// Linear light to display gamma: 255 (i / 255)^(1 / 2.2), rounded.
std::array<uint8_t, 256> MakeGammaTable()
{
    std::array<uint8_t, 256> table{};
    for (int i = 0; i < 256; ++i)
        table[static_cast<size_t>(i)] = static_cast<uint8_t>(std::lround(255.0 * std::pow(i / 255.0, 1.0 / 2.2)));
    return table;
}

void EncodeGamma(uint8_t* bytes, int size)
{
    static std::array<uint8_t, 256> const table = MakeGammaTable();
    for (int i = 0; i < size; ++i)
        bytes[i] = table[bytes[i]];
}

// Pictures are stretched in width only. Single precision on purpose: 640 x 0.7f is 448. 0, which no picture has, when
// the result is out of range.
int AspectCorrectedWidth(int width, float aspectRatio)
{
    float const corrected = static_cast<float>(width) * aspectRatio;
    constexpr int limit = std::numeric_limits<int>::max() / bytesPerPixel;
    return corrected >= 0.0f && corrected < static_cast<float>(limit) ? static_cast<int>(corrected) : 0;
}

// The alignment that makes FFmpeg round a row up to a multiple of 4 bytes. Not a power of two, which its rounding by
// masks turns into just that.
int RowAlignment(int outputWidth)
{
    return (4 - outputWidth * bytesPerPixel % 4) % 4 + 1;
}

// Slices of a picture to convert at the same time: one for each processor. One more, which libswscale would choose,
// would keep the others waiting. Frame threads use the processors meanwhile; those of a single image have nothing left
// to do by then.
int ScalerThreadsBeside(AVCodecContext const& context, bool isImage)
{
    bool const hasBusyThreads = !isImage && (context.active_thread_type & FF_THREAD_FRAME) != 0;
    return std::min(hasBusyThreads ? av_cpu_count() / 2 : av_cpu_count(), mostScalerThreads);
}

} // namespace

VideoDecoder::VideoDecoder() : scaler(std::make_unique<PictureScaler>()) {}

VideoDecoder::~VideoDecoder() = default;

bool VideoDecoder::Initialize(AVCodecContext* newCodecContext, AVRational const& newTimeBase, int newWidth,
                              int newHeight, float pixelAspectRatio, long long newStartTime, double newFrameRate,
                              int newRotation, bool newIsImage, bool newIsLinear)
{
    if (!newCodecContext)
        return false;
    Shutdown();
    timeBase = MicrosecondsPerTick(newTimeBase);
    startTime = newStartTime;
    SetFrameRate(newFrameRate);
    rotation = newRotation;
    isImage = newIsImage;
    isLinear = newIsLinear;
    aspectRatio = isImage ? 1.0f : pixelAspectRatio;
    frame.reset(av_frame_alloc());
    pictureBuffers = PictureBuffers::GetShared();
    if (!frame || !pictureBuffers || !SetSize(newWidth, newHeight)) {
        Shutdown();
        return false;
    }
    codecContext = newCodecContext;
    scaler->SetMostThreads(ScalerThreadsBeside(*codecContext, isImage));
    return true;
}

// The coded size, and the size and rows of the pictures that follow from it; false when such pictures cannot be.
bool VideoDecoder::SetSize(int codedWidth, int codedHeight)
{
    int const correctedWidth = AspectCorrectedWidth(codedWidth, aspectRatio);
    uint8_t* planes[4] = {};
    int strides[4] = {};
    int const bytes = av_image_fill_arrays(planes, strides, nullptr, AV_PIX_FMT_RGB24, correctedWidth, codedHeight,
                                           RowAlignment(correctedWidth));
    if (bytes < 0)
        return false;
    width = codedWidth;
    height = codedHeight;
    outputWidth = correctedWidth;
    outputStride = strides[0];
    outputSize = bytes;
    return true;
}

void VideoDecoder::SetFrameRate(double newFrameRate)
{
    if (newFrameRate == frameRate)
        return;
    bool const inRange = newFrameRate >= Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE &&
                         newFrameRate <= Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE;
    frameRate = inRange ? newFrameRate : Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE;
    frameDuration = 1.0 / frameRate * 1000000.0;
}

void VideoDecoder::SetTimesOnly(bool newTimesOnly)
{
    timesOnly = newTimesOnly;
}

void VideoDecoder::SetColours(ColourSettings const& newColours, double statedPeak)
{
    colours = newColours;
    if (!colours.followStream)
        return;
    if (!converter)
        converter = std::make_unique<StreamConverter>();
    converter->SetSettings(colours);
    converter->SetStatedPeak(statedPeak);
}

QString VideoDecoder::DescribeColours() const
{
    return colours.followStream ? converter->Describe() : QString();
}

void VideoDecoder::DecodePacket(AVPacket* packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime)
{
    if (!packet || !codecContext)
        return;
    bool const drains = isImage || IsEmpty(*packet);
    int const sent = SendPacket(*packet, seekTime);
    if (sent < 0 && sent != AVERROR_EOF) {
        LogDecodingError();
        return;
    }
    Step step = sent == AVERROR_EOF ? Step::TryAgain : ReceivePicture(frames, seekTime);
    if (!drains) {
        HoldFurtherPictures();
        return;
    }
    if (step == Step::Done)
        return;
    avcodec_send_packet(codecContext, nullptr);
    for (int fruitless = 0; step != Step::Done && fruitless < mostFruitlessReceives; ++fruitless) {
        step = ReceivePicture(frames, seekTime);
        if (step == Step::Picture)
            fruitless = 0;
    }
}

// A picture that the seek filter would drop is not even decoded when no other one is made from it.
int VideoDecoder::SendPacket(AVPacket const& packet, long long seekTime)
{
    AVDiscard const skipFrame = codecContext->skip_frame;
    if (IsOverBeforeSeek(packet, seekTime))
        codecContext->skip_frame = std::max(skipFrame, AVDISCARD_NONREF);
    int const sent = avcodec_send_packet(codecContext, &packet);
    codecContext->skip_frame = skipFrame;
    return sent;
}

VideoDecoder::Step VideoDecoder::ReceivePicture(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime)
{
    int const received = TakeFrame();
    if (received == AVERROR(EAGAIN))
        return Step::TryAgain;
    if (received == AVERROR_EOF) {
        if (!isImage)
            frames.append(std::make_shared<DecodedVideoFrame>());
        return Step::Done;
    }
    if (received < 0) {
        LogDecodingError();
        return Step::Done;
    }
    long long const time = TakeTime();
    if (IsBeforeSeek(time, seekTime))
        return Step::Done;
    if (HasSizeChanged()) {
        AppendSizeChange(frames, time);
        return Step::Done;
    }
    if (!AppendPicture(frames, time)) {
        LogDecodingError();
        return Step::Done;
    }
    return Step::Picture;
}

// The next decoded picture in order, into `frame`; FFmpeg's code.
int VideoDecoder::TakeFrame()
{
    if (heldFrames.empty())
        return FfmpegBridge::ReceiveFrame(codecContext, frame.get());
    frame = std::move(heldFrames.front());
    heldFrames.pop_front();
    return 0;
}

// A packet can complete more than one picture: a VP9 superframe does, behind frame threads. As a call delivers one, the
// decoder would keep the others and soon refuse a packet, which would be lost; so they wait here for the next calls.
void VideoDecoder::HoldFurtherPictures()
{
    while (heldFrames.size() < mostHeldFrames) {
        if (!spareFrame)
            spareFrame.reset(av_frame_alloc());
        if (!spareFrame)
            return;
        int const received = FfmpegBridge::ReceiveFrame(codecContext, spareFrame.get());
        if (received < 0) {
            if (received != AVERROR(EAGAIN) && received != AVERROR_EOF)
                LogDecodingError();
            return;
        }
        heldFrames.push_back(std::move(spareFrame));
    }
}

void VideoDecoder::Flush()
{
    heldFrames.clear();
}

// The time of the picture just received.
long long VideoDecoder::TakeTime()
{
    if (frame->best_effort_timestamp == AV_NOPTS_VALUE) {
        lastTime += frameDuration;
        return TruncatedTime(lastTime);
    }
    long long const time = TimeOf(frame->best_effort_timestamp);
    lastTime = static_cast<double>(time);
    return time;
}

long long VideoDecoder::TimeOf(long long timestamp) const
{
    return TruncatedTime(static_cast<double>(timestamp) * timeBase - static_cast<double>(startTime));
}

// A few pictures before the target stay, so that the cache holds some behind it.
bool VideoDecoder::IsBeforeSeek(long long time, long long seekTime) const
{
    return seekTime >= 0 && static_cast<double>(seekTime) - Settings::maxTrailingFramesAfterSeek * frameDuration >
                                static_cast<double>(time);
}

// The picture's duration is room for a second field in a packet of its own: the two go together.
bool VideoDecoder::IsOverBeforeSeek(AVPacket const& packet, long long seekTime) const
{
    return packet.pts != AV_NOPTS_VALUE &&
           IsBeforeSeek(TruncatedTime(static_cast<double>(TimeOf(packet.pts)) + frameDuration), seekTime);
}

bool VideoDecoder::HasSizeChanged() const
{
    return codecContext->width != width || codecContext->height != height;
}

void VideoDecoder::AppendSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long time) const
{
    uint8_t const nothing = 0;
    auto record = std::make_shared<DecodedVideoFrame>(&nothing, 1, codecContext->width, codecContext->height, time,
                                                      frameRate, rotation, isLinear);
    record->status = 1;
    frames.append(std::move(record));
}

bool VideoDecoder::FollowSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& frames)
{
    // The picture is still in `frame`, and its time is the last one taken.
    bool const isHeld = codecContext && frame->buf[0] && HasSizeChanged();
    return isHeld && SetSize(codecContext->width, codecContext->height) &&
           AppendPicture(frames, TruncatedTime(lastTime));
}

bool VideoDecoder::AppendPicture(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long time)
{
    auto record = std::make_shared<DecodedVideoFrame>();
    if (!FillPicture(*record))
        return false;
    record->width = outputWidth;
    record->height = height;
    record->startTime = time;
    record->frameRate = frameRate;
    record->rotation = rotation;
    record->isLinear = isLinear;
    frames.append(std::move(record));
    return true;
}

bool VideoDecoder::FillPicture(DecodedVideoFrame& record)
{
    // The context tells the picture's size and format. Around a change of either a held-back picture can still be of
    // the old kind: then the picture's own are what can be read.
    bool const asContextSays = frame->width >= codecContext->width && frame->height >= codecContext->height &&
                               frame->format == codecContext->pix_fmt;
    PictureScaler::Layout layout;
    layout.width = asContextSays ? codecContext->width : frame->width;
    layout.height = asContextSays ? codecContext->height : frame->height;
    layout.format = frame->format;
    layout.outputWidth = outputWidth;
    layout.outputHeight = height;
    layout.outputStride = outputStride;

    if (timesOnly)
        return scaler->CanConvert(layout);
    record.TakeFromStore(pictureBuffers, outputSize);
    if (record.data && colours.followStream) {
        bool const isLinearFormat = codecContext->codec_id == AV_CODEC_ID_EXR; // by definition
        converter->SetMostThreads(ScalerThreadsBeside(*codecContext, isImage));
        return converter->Convert(*frame, layout, isLinear || isLinearFormat, record.data);
    }
    if (!record.data || !scaler->Convert(*frame, layout, record.data))
        return false;
    if (isLinear)
        EncodeGamma(record.data, record.size);
    return true;
}

int VideoDecoder::DecodeInternal(AVPacket* packet, bool& gotFrame, bool& endOfStream)
{
    return TakeCodecStep(codecContext, packet, frame.get(), gotFrame, endOfStream);
}

void VideoDecoder::Shutdown()
{
    codecContext = nullptr;
    heldFrames.clear();
    frame.reset();
    spareFrame.reset();
    pictureBuffers.reset();
}
