#pragma once

#include "TavolinAVExport.h"
#include "decode/ColourSettings.h"
#include "media/FfmpegPtr.h"

#include <QList>
#include <QString>
#include <QVector>

#include <memory>
#include <vector>

class PictureBuffers;
class PictureScaler;
class SkipProof;
class StreamConverter;
struct AVRational;
struct DecodedVideoFrame;

// Decodes the packets of one video stream into DecodedVideoFrame records: packed RGB, the width corrected by the pixel
// aspect ratio, times in microseconds from the stream's first picture. Colours are converted by the converter's
// defaults (ITU-R BT.601, limited range) unless SetColours asks for the stream's. One thread at a time. A decoder that
// is not initialised does nothing.
class TAVOLINAV_EXPORT VideoDecoder
{
public:
    VideoDecoder();  // not initialised
    ~VideoDecoder(); // as Shutdown
    VideoDecoder(VideoDecoder const&) = delete;
    VideoDecoder& operator=(VideoDecoder const&) = delete;

    // `codecContext` must be open; it stays the caller's and must outlive the decoder's use of it. `width` and `height`
    // are the coded size; `startTime` is subtracted from every time; `frameRate` times the pictures that have no time
    // and is checked as in SetFrameRate. Images ignore the aspect ratio. Returns false, and is not initialised, for a
    // null context or an impossible size.
    bool Initialize(AVCodecContext* codecContext, AVRational const& timeBase, int width, int height,
                    float pixelAspectRatio, long long startTime, double frameRate, int rotation, bool isImage,
                    bool isLinear);

    // A rate outside the range of Settings is replaced by the default rate, not by the nearer bound. Setting the
    // current rate changes nothing, so a new decoder given 0.0 keeps 0.0.
    void SetFrameRate(double frameRate);

    // Delivers records without `data`: only times, much faster.
    void SetTimesOnly(bool timesOnly);

    // While a seek is pending, lets the codec skip pictures before the target that no other picture refers to, if the
    // stream's headers prove that this is safe (H.264 of frames only, HEVC of one sub-layer, progressive MPEG-1,
    // MPEG-2, MPEG-4); no effect on other streams. Off by default: every packet is decoded. Set it before the first
    // packet of a seek; setting it also resets HasSkippedInDoubt.
    void SetSeekSkipping(bool skips);

    // Whether, since the last SetSeekSkipping, a picture was skipped and the stream showed a sign of damage: a decoding
    // error, a corrupt packet or picture, a missing reference, a time that FFmpeg had to guess. Error concealment may
    // then depend on the skipped pictures: seek again without skipping.
    bool HasSkippedInDoubt() const;

    // Times of the packets that could not be decoded and of the pictures that FFmpeg had to patch up, since the last
    // call: a thousand at most. What is left out before a seek's target, or by BeginAtKeyPicture, does not count.
    QVector<long long> TakeDamage();

    // Makes an empty packet deliver one picture at a time, and the end-of-stream record after the last one. All of them
    // together take the memory of as many pictures as the codec holds back, which is a lot at large sizes. Off by
    // default. In every state.
    void SetStepwiseDrain(bool isStepwise);

    // Drops pictures until the codec (not the container) delivers one that was decoded without any other, and also
    // drops pictures shown before the next packet's picture, which may refer to undecoded ones. For a host that must
    // never show a wrong picture: call it after a seek.
    void BeginAtKeyPicture();

    // Whether BeginAtKeyPicture is still waiting for that picture.
    bool IsBeforeKeyPicture() const;

    // The maximum number of threads that convert one picture; 0, the default: one for each processor, or half
    // as many beside decoding threads. In every state, from the next picture on.
    void SetMostThreads(int threads);

    // How colours are converted from the next picture on. `statedPeak`: the brightest content in cd/m2 by the
    // container, for HDR pictures without their own value; 0: unknown. In every state. With followStream, OpenEXR
    // counts as linear light, whatever Initialize was told.
    void SetColours(ColourSettings const& colours, double statedPeak = 0.0);

    // The last picture's format and colour tags in FFmpeg's names, and the conversion of its light: "yuv420p10le
    // bt2020nc tv arib-std-b67 bt2020, tone-mapped from 1000 to 203 cd/m2". Empty with the converter's defaults.
    QString DescribeColours() const;

    // Appends the records that `packet` completes:
    // - ordinary packet: at most one picture, after those that the codec had to deliver before it took the packet;
    // - empty packet (no data, no size): all pictures held back and the end-of-stream record, unless SetStepwiseDrain
    //   asks for less;
    // - image: the whole image, without an end-of-stream record.
    // No decoded picture waits outside the codec between calls, so a host may flush its context at any time. Drops
    // pictures that start more than Settings::maxTrailingFramesAfterSeek frame durations before `seekTime` (negative:
    // no seek). A dropped picture or a record with status 1 ends the call; after an empty packet, the pictures still in
    // the decoder come with the next empty one. A packet that cannot be decoded is logged and lost.
    void DecodePacket(AVPacket* packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime);

    // Call this right after records with status 1: sets the new coded size and appends the pictures that the records
    // replaced. False on failure.
    bool FollowSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& frames);

    // Sends `packet` unless null, then receives one frame into the decoder's own frame. Returns 0 or the negative
    // FFmpeg error code. Sets `gotFrame`; sets `endOfStream` at the end and never clears it.
    int DecodeInternal(AVPacket* packet, bool& gotFrame, bool& endOfStream);

    void Shutdown(); // can be initialised again

private:
    // The result of asking the codec for a picture.
    enum class Step {
        Picture,  // appended
        LeftOut,  // dropped, or replaced by a record with status 1
        TryAgain, // needs another packet first
        Failed,   // error, logged
        End,
    };

    // A picture that was replaced by a record with status 1.
    struct ResizedPicture
    {
        FfmpegPtr<AVFrame> frame;
        long long time = 0;
    };

    bool SetSize(int codedWidth, int codedHeight);
    void Decode(AVPacket const& packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime);
    void Drain(AVPacket const& packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime);
    void ReceivePictures(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime);
    int SendPacket(AVPacket const& packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime);
    int TrySendPacket(AVPacket const& packet, long long seekTime);
    Step ReceivePicture(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime);
    bool IsLeftOut(long long time, long long seekTime);
    void NoteDoubt(AVFrame const& picture);
    void NoteFailure();
    void NoteLost(int failures, long long time);
    void NoteDamage(long long time);
    long long TakeTime();
    long long TimeOf(long long timestamp) const;
    bool IsBeforeSeek(long long time, long long seekTime) const;
    bool IsSkipped(AVPacket const& packet, long long seekTime) const;
    bool HasSizeChanged() const;
    void AppendSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long time);
    bool AppendPicture(QList<std::shared_ptr<DecodedVideoFrame>>& frames, AVFrame& picture, long long time);
    bool FillPicture(DecodedVideoFrame& record, AVFrame& picture);

    AVCodecContext* codecContext = nullptr; // not owned
    double timeBase = 0.0;                  // microseconds per tick
    int outputWidth = 1;
    int outputStride = 4;     // bytes per row
    int outputSize = 0;       // bytes per picture
    float aspectRatio = 1.0f; // factor on the width
    long long startTime = 0;  // microseconds
    double frameRate = 0.0;
    double frameDuration = 0.0; // microseconds
    int width = 1;              // coded size, as initialised or last followed
    int height = 1;
    double lastTime = 0.0; // of the last picture, microseconds; keeps fractions across pictures without a time
    int rotation = 0;
    bool isImage = false;
    bool isLinear = false;
    bool timesOnly = false;
    bool stepwiseDrain = false;
    bool seekSkipping = false;
    bool hasSkipped = false; // since SetSeekSkipping
    bool hasDoubt = false;
    QVector<long long> damage;
    int failuresInARow = 0; // since the last picture
    bool awaitsKeyPicture = false;
    bool hasBegun = true;                        // a packet was sent since BeginAtKeyPicture
    long long beginTime = 0;                     // of that packet's picture, microseconds
    FfmpegPtr<AVFrame> frame;                    // the picture being turned into a record
    std::vector<ResizedPicture> resizedPictures; // of the last call, for FollowSizeChange
    std::unique_ptr<SkipProof> skipProof;
    std::shared_ptr<PictureBuffers> pictureBuffers;
    std::unique_ptr<PictureScaler> scaler; // outlives Shutdown: the next Initialize reuses it
    ColourSettings colours;
    int mostThreads = 0;
    std::unique_ptr<StreamConverter> converter; // created by SetColours; outlives Shutdown
};
