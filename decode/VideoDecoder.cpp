#include "decode/VideoDecoder.h"

#include "common/Logger.h"
#include "common/Microseconds.h"
#include "common/Settings.h"
#include "decode/CodecStep.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/PictureBuffers.h"
#include "decode/PictureScaler.h"
#include "decode/RowBytes.h"
#include "decode/SkipProof.h"
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

// A codec that refuses a packet takes it after a few pictures were received; after this many it is faulty.
constexpr int mostReceivesBeforeSend = 1000;

constexpr int mostDamage = 1000; // times kept for a host that may never ask for them

constexpr int mostScalerThreads = 16;

void LogDecodingError()
{
    Logger::GetInstance().Error("Error decoding video packet.");
}

// Encodes linear light for gamma 2.2: 255 (i / 255)^(1 / 2.2), rounded.
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

// The aspect ratio changes only the width. Computed in single precision: 640 x 0.7f is 448. Returns 0, an impossible
// width, when the result is out of range.
int AspectCorrectedWidth(int width, float aspectRatio)
{
    float const corrected = static_cast<float>(width) * aspectRatio;
    constexpr int limit = std::numeric_limits<int>::max() / bytesPerPixel;
    return corrected >= 0.0f && corrected < static_cast<float>(limit) ? static_cast<int>(corrected) : 0;
}

// The alignment argument that makes FFmpeg pad rows to a multiple of 4 bytes. It is not a power of two: FFmpeg's
// rounding masks turn it into exactly this padding.
int RowAlignment(int outputWidth)
{
    return (4 - outputWidth * bytesPerPixel % 4) % 4 + 1;
}

// The number of slices converted at the same time: one for each processor. libswscale would choose one more, which
// would keep the others waiting. Frame threads keep half the processors busy; the threads that decoded a single image
// are idle by then.
int ScalerThreadsBeside(AVCodecContext const& context, bool isImage, int mostAsked)
{
    if (mostAsked > 0)
        return std::min(mostAsked, mostScalerThreads);
    bool const hasBusyThreads = !isImage && (context.active_thread_type & FF_THREAD_FRAME) != 0;
    return std::min(hasBusyThreads ? av_cpu_count() / 2 : av_cpu_count(), mostScalerThreads);
}

bool IsDamaged(AVFrame const& picture)
{
    return picture.decode_error_flags != 0 || (picture.flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

bool IsIntraOnly(AVCodecID id)
{
    AVCodecDescriptor const* descriptor = avcodec_descriptor_get(id);
    return descriptor && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY) != 0;
}

// Whether the picture was decoded without reference to any other, as far as the codec reports it. A concealed picture
// depends on others.
bool NeedsNoOther(AVCodecContext const& context, AVFrame const& picture)
{
    if (IsDamaged(picture))
        return false;
    if (FfmpegBridge::IsKeyPicture(picture))
        return true;
    switch (context.codec_id) {
    case AV_CODEC_ID_H264:
        return true; // FFmpeg delivers no picture before a recovery point
    case AV_CODEC_ID_HEVC:
    case AV_CODEC_ID_VP8:
    case AV_CODEC_ID_VP9:
    case AV_CODEC_ID_AV1:
        return false; // after an intra picture inside a group, later pictures may still refer to earlier ones
    default:
        return picture.pict_type == AV_PICTURE_TYPE_I || IsIntraOnly(context.codec_id);
    }
}

} // namespace

VideoDecoder::VideoDecoder() : skipProof(std::make_unique<SkipProof>()), scaler(std::make_unique<PictureScaler>()) {}

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
    skipProof->Begin(*codecContext);
    return true;
}

// Sets the coded size and derives the output size and stride; false for an impossible size.
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
    bool const isBeyond = newFrameRate > Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE ||
                          newFrameRate < Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE;
    frameRate = isBeyond ? Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE : newFrameRate; // NaN stays
    frameDuration = 1.0 / frameRate * secondUs;
}

void VideoDecoder::SetTimesOnly(bool newTimesOnly)
{
    timesOnly = newTimesOnly;
}

void VideoDecoder::SetSeekSkipping(bool skips)
{
    seekSkipping = skips;
    hasSkipped = false;
    hasDoubt = false;
}

bool VideoDecoder::HasSkippedInDoubt() const
{
    return hasSkipped && hasDoubt;
}

void VideoDecoder::SetStepwiseDrain(bool isStepwise)
{
    stepwiseDrain = isStepwise;
}

void VideoDecoder::BeginAtKeyPicture()
{
    awaitsKeyPicture = true;
    hasBegun = false;
    failuresInARow = 0;
}

bool VideoDecoder::IsBeforeKeyPicture() const
{
    return awaitsKeyPicture;
}

void VideoDecoder::SetMostThreads(int threads)
{
    mostThreads = threads;
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
    resizedPictures.clear();
    if (IsEmptyPacket(*packet))
        Drain(*packet, frames, seekTime);
    else
        Decode(*packet, frames, seekTime);
}

void VideoDecoder::Decode(AVPacket const& packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime)
{
    int const sent = SendPacket(packet, frames, seekTime);
    if (sent < 0 && sent != AVERROR_EOF) {
        NoteFailure();
        return;
    }
    Step const step = sent == AVERROR_EOF ? Step::TryAgain : ReceivePicture(frames, seekTime);
    bool const isWhole = step == Step::Picture || step == Step::TryAgain;
    if (!isImage || !isWhole)
        return;
    avcodec_send_packet(codecContext, nullptr);
    ReceivePictures(frames, seekTime);
}

// Receives all ready pictures before signalling the end to the codec: FFmpeg would drop a packet that still waits to be
// decoded.
void VideoDecoder::Drain(AVPacket const& packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime)
{
    Step step = ReceivePicture(frames, seekTime);
    while (step == Step::Picture && !stepwiseDrain)
        step = ReceivePicture(frames, seekTime);
    if (step != Step::TryAgain)
        return;
    int const sent = avcodec_send_packet(codecContext, &packet);
    if (sent < 0 && sent != AVERROR_EOF) {
        LogDecodingError();
        return;
    }
    ReceivePictures(frames, seekTime);
}

// Receives all pictures left in a draining codec, or the next one, until one is dropped.
void VideoDecoder::ReceivePictures(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime)
{
    Step step = Step::Picture;
    for (int fruitless = 0; fruitless < mostFruitlessReceives; ++fruitless) {
        step = ReceivePicture(frames, seekTime);
        if (step == Step::Picture && (isImage || !stepwiseDrain))
            fruitless = 0;
        else if (step != Step::TryAgain)
            return;
    }
}

// A packet can complete more than one picture (a VP9 superframe with frame threads). As one call delivers only one of
// them, the codec fills up and refuses a packet now and then until pictures have been received.
int VideoDecoder::SendPacket(AVPacket const& packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames,
                             long long seekTime)
{
    int sent = TrySendPacket(packet, seekTime);
    Step step = Step::Picture;
    for (int i = 0; sent == AVERROR(EAGAIN) && step != Step::TryAgain && i < mostReceivesBeforeSend; ++i) {
        step = ReceivePicture(frames, seekTime); // even without a picture the codec may have made room
        sent = TrySendPacket(packet, seekTime);
    }
    return sent;
}

int VideoDecoder::TrySendPacket(AVPacket const& packet, long long seekTime)
{
    if (!std::exchange(hasBegun, true))
        beginTime = packet.pts == AV_NOPTS_VALUE ? std::numeric_limits<long long>::min() : TimeOf(packet.pts);
    if (!seekSkipping)
        return avcodec_send_packet(codecContext, &packet);
    skipProof->Watch(packet);
    hasDoubt = hasDoubt || (hasSkipped && !skipProof->Holds()) || (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
    AVDiscard const skipFrame = codecContext->skip_frame;
    if (IsSkipped(packet, seekTime)) {
        codecContext->skip_frame = std::max(skipFrame, AVDISCARD_NONREF);
        hasSkipped = true;
    }
    int const sent = avcodec_send_packet(codecContext, &packet);
    codecContext->skip_frame = skipFrame;
    return sent;
}

VideoDecoder::Step VideoDecoder::ReceivePicture(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime)
{
    int const reorderDepth = codecContext->has_b_frames;
    int const received = FfmpegBridge::ReceiveFrame(codecContext, frame.get());
    if (codecContext->has_b_frames != reorderDepth)
        hasDoubt = true; // FFmpeg learns the picture order from the pictures it decodes
    if (received == AVERROR(EAGAIN))
        return Step::TryAgain;
    if (received == AVERROR_EOF) {
        if (!isImage)
            frames.append(std::make_shared<DecodedVideoFrame>());
        return Step::End;
    }
    if (received < 0) {
        NoteFailure();
        return Step::Failed;
    }
    NoteDoubt(*frame);
    long long const time = TakeTime();
    if (IsLeftOut(time, seekTime))
        return Step::LeftOut;
    if (IsDamaged(*frame))
        NoteDamage(time);
    if (HasSizeChanged()) {
        AppendSizeChange(frames, time);
        return Step::LeftOut;
    }
    if (!AppendPicture(frames, *frame, time)) {
        LogDecodingError();
        return Step::Failed;
    }
    return Step::Picture;
}

// With threads, the codec fails some packets after the one at fault: lost pictures are taken to follow the last one.
void VideoDecoder::NoteFailure()
{
    LogDecodingError();
    hasDoubt = true;
    ++failuresInARow;
    if (!awaitsKeyPicture)
        NoteDamage(TruncatedTime(lastTime + failuresInARow * frameDuration));
}

// A codec may lose more pictures than it tells of: all that are missing up to the next one, which has `time`.
void VideoDecoder::NoteLost(int failures, long long time)
{
    double const end = static_cast<double>(time) - frameDuration / 2.0;
    for (double lost = lastTime + (failures + 1) * frameDuration;
         frameDuration > 0.0 && lost < end && damage.size() < mostDamage && !awaitsKeyPicture; lost += frameDuration)
        NoteDamage(TruncatedTime(lost));
}

void VideoDecoder::NoteDamage(long long time)
{
    if (damage.size() < mostDamage)
        damage.append(time);
}

QVector<long long> VideoDecoder::TakeDamage()
{
    return std::exchange(damage, {});
}

void VideoDecoder::NoteDoubt(AVFrame const& picture)
{
    bool const isGuessed = picture.best_effort_timestamp != picture.pts || picture.pts == AV_NOPTS_VALUE;
    hasDoubt = hasDoubt || isGuessed || IsDamaged(picture);
}

bool VideoDecoder::IsLeftOut(long long time, long long seekTime)
{
    awaitsKeyPicture = awaitsKeyPicture && (time < beginTime || !NeedsNoOther(*codecContext, *frame));
    return awaitsKeyPicture || IsBeforeSeek(time, seekTime);
}

// The time of the picture just received; also updates lastTime.
long long VideoDecoder::TakeTime()
{
    int const failures = std::exchange(failuresInARow, 0);
    if (frame->best_effort_timestamp == AV_NOPTS_VALUE) {
        lastTime += frameDuration;
        return TruncatedTime(lastTime);
    }
    long long const time = TimeOf(frame->best_effort_timestamp);
    if (failures > 0)
        NoteLost(failures, time);
    lastTime = static_cast<double>(time);
    return time;
}

long long VideoDecoder::TimeOf(long long timestamp) const
{
    return TruncatedTime(static_cast<double>(timestamp) * timeBase - static_cast<double>(startTime));
}

// Keeps a few pictures before the target, so that the cache holds some behind it.
bool VideoDecoder::IsBeforeSeek(long long time, long long seekTime) const
{
    return seekTime >= 0 && static_cast<double>(seekTime) - Settings::maxTrailingFramesAfterSeek * frameDuration >
                                static_cast<double>(time);
}

// Whether to skip decoding the picture: the seek would drop it, and no other picture refers to it.
bool VideoDecoder::IsSkipped(AVPacket const& packet, long long seekTime) const
{
    return skipProof->Holds() && packet.pts != AV_NOPTS_VALUE && IsBeforeSeek(TimeOf(packet.pts), seekTime);
}

bool VideoDecoder::HasSizeChanged() const
{
    return codecContext->width != width || codecContext->height != height;
}

void VideoDecoder::AppendSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long time)
{
    uint8_t const nothing = 0;
    auto record = std::make_shared<DecodedVideoFrame>(&nothing, 1, codecContext->width, codecContext->height, time,
                                                      frameRate, rotation, isLinear);
    record->status = 1;
    frames.append(std::move(record));
    FfmpegPtr<AVFrame> kept(av_frame_alloc());
    if (!kept)
        return;
    av_frame_move_ref(kept.get(), frame.get());
    resizedPictures.push_back({std::move(kept), time});
}

bool VideoDecoder::FollowSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& frames)
{
    auto const resized = std::exchange(resizedPictures, {});
    if (!codecContext || resized.empty() || !SetSize(codecContext->width, codecContext->height))
        return false;
    bool areAppended = true;
    for (ResizedPicture const& picture : resized)
        areAppended = AppendPicture(frames, *picture.frame, picture.time) && areAppended;
    return areAppended;
}

bool VideoDecoder::AppendPicture(QList<std::shared_ptr<DecodedVideoFrame>>& frames, AVFrame& picture, long long time)
{
    auto record = std::make_shared<DecodedVideoFrame>();
    if (!FillPicture(*record, picture))
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

bool VideoDecoder::FillPicture(DecodedVideoFrame& record, AVFrame& picture)
{
    // The context holds the picture's size and format. Around a change of either, the codec can still deliver a picture
    // of the old kind: then the picture's own values are valid.
    bool const asContextSays = picture.width >= codecContext->width && picture.height >= codecContext->height &&
                               picture.format == codecContext->pix_fmt;
    PictureScaler::Layout layout;
    layout.width = asContextSays ? codecContext->width : picture.width;
    layout.height = asContextSays ? codecContext->height : picture.height;
    layout.format = picture.format;
    layout.outputWidth = outputWidth;
    layout.outputHeight = height;
    layout.outputStride = outputStride;

    int const threads = ScalerThreadsBeside(*codecContext, isImage, mostThreads);
    scaler->SetMostThreads(threads);
    if (timesOnly)
        return scaler->CanConvert(layout);
    record.TakeFromStore(pictureBuffers, outputSize);
    if (record.data && colours.followStream) {
        bool const isLinearFormat = codecContext->codec_id == AV_CODEC_ID_EXR; // by definition
        converter->SetMostThreads(threads);
        return converter->Convert(picture, layout, isLinear || isLinearFormat, record.data);
    }
    if (!record.data || !scaler->Convert(picture, layout, record.data))
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
    awaitsKeyPicture = false;
    hasBegun = true;
    resizedPictures.clear();
    frame.reset();
    pictureBuffers.reset();
}
