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

// Turns the packets of one video stream into DecodedVideoFrame records: packed RGB at the width that the pixels' aspect
// ratio asks for, colours by the converter's defaults (ITU-R BT.601, limited range) unless SetColours asks for the
// stream's, times in microseconds from the stream's first picture. One thread at a time. A decoder that is not
// initialised does nothing.
class TAVOLINAV_EXPORT VideoDecoder
{
public:
    VideoDecoder();  // not initialised
    ~VideoDecoder(); // as Shutdown
    VideoDecoder(VideoDecoder const&) = delete;
    VideoDecoder& operator=(VideoDecoder const&) = delete;

    // `codecContext` is opened, stays the caller's and must outlive the use; `width` and `height` are the coded size,
    // `startTime` is subtracted from every time, `frameRate` serves pictures without a time and is held to the range of
    // Settings. Images ignore the aspect ratio. False, and not initialised, for a null context or an impossible size.
    bool Initialize(AVCodecContext* codecContext, AVRational const& timeBase, int width, int height,
                    float pixelAspectRatio, long long startTime, double frameRate, int rotation, bool isImage,
                    bool isLinear);

    // A rate outside the range of Settings is replaced by the default rate, not by the nearer bound. The rate already
    // set changes nothing, so a new decoder given 0.0 keeps 0.0.
    void SetFrameRate(double frameRate);

    // Delivers records without `data`: only times, at a fraction of the cost.
    void SetTimesOnly(bool timesOnly);

    // While a seek is pending, lets the codec leave out pictures before the target that no other picture can refer to,
    // wherever the stream's own headers prove that there are such pictures (H.264 of frames only, HEVC of one
    // sub-layer, progressive MPEG-1, MPEG-2, MPEG-4); elsewhere it changes nothing. Off by default: then each packet is
    // decoded. To be set before the first packet of a seek, which also begins a new answer of HasSkippedInDoubt.
    void SetSeekSkipping(bool skips);

    // Whether since the last SetSeekSkipping something was left out and the stream showed a sign of damage: a decoding
    // error, a corrupt packet or picture, a missing reference, a time that FFmpeg had to guess. What is patched up then
    // may depend on what was left out: seek again without skipping.
    bool HasSkippedInDoubt() const;

    // Times of the packets that could not be decoded and of the pictures that FFmpeg had to patch up, since the last
    // call: a thousand at most. What is left out before a seek's target, or by BeginAtKeyPicture, does not count.
    QVector<long long> TakeDamage();

    // Leaves out pictures until one comes that was decoded without any other, as the codec tells, not the container;
    // and those that show before the next packet's, which may refer to what was not decoded. To be called after a seek
    // by a host that wants no picture to be wrong.
    void BeginAtKeyPicture();

    // Whether BeginAtKeyPicture still waits for its picture.
    bool IsBeforeKeyPicture() const;

    // How many threads convert one picture at most; 0, as at first: as many as have nothing else to do. In every state,
    // from the next picture on.
    void SetMostThreads(int threads);

    // How the colours of the pictures from the next one on are converted. `statedPeak`: the brightest content in cd/m2
    // as the container says, for HDR pictures that do not say it themselves; 0: unknown. In every state.
    // OpenEXR is taken for linear light when the stream is followed, whatever Initialize was told.
    void SetColours(ColourSettings const& colours, double statedPeak = 0.0);

    // What the last picture was converted from, in FFmpeg's names, and what was done to its light: "yuv420p10le
    // bt2020nc tv arib-std-b67 bt2020, tone-mapped from 1000 to 203 cd/m2". Empty by the converter's defaults.
    QString DescribeColours() const;

    // Appends the records that `packet` completes: one picture at most for an ordinary packet, after those that the
    // codec wanted to be rid of before it took the packet; all that are held back and the mark of the end for an empty
    // one (no data, no size); the whole image, without a mark, for an image. Nothing decoded waits outside of the codec
    // between calls, so a host may flush its context at any time. Pictures more than
    // Settings::maxTrailingFramesAfterSeek before `seekTime` are dropped (negative: no seek). A dropped picture, and a
    // mark of a changed size, end the call: what an empty packet then leaves in the decoder comes with the next one. A
    // packet that cannot be decoded is lost and logged.
    void DecodePacket(AVPacket* packet, QList<std::shared_ptr<DecodedVideoFrame>>& frames, long long seekTime);

    // To be called right after records with status 1: takes over the coded size that they tell, and appends the
    // pictures that they stood for. False when that cannot be.
    bool FollowSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& frames);

    // One step of FFmpeg's interface: sends `packet` unless null, receives into the decoder's own frame. 0 or the
    // negative FFmpeg code of a failure; `endOfStream` is never cleared.
    int DecodeInternal(AVPacket* packet, bool& gotFrame, bool& endOfStream);

    void Shutdown(); // can be initialised again

private:
    // What came of asking the codec for a picture.
    enum class Step {
        Picture,  // appended
        LeftOut,  // before the target, or a mark of a changed size in its place
        TryAgain, // none without another packet
        Failed,   // and logged
        End,
    };

    // A picture that a record with status 1 stands for.
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
    float aspectRatio = 1.0f; // by which pictures become wider
    long long startTime = 0;  // microseconds
    double frameRate = 0.0;
    double frameDuration = 0.0; // microseconds
    int width = 1;              // coded size that the decoder was initialised for
    int height = 1;
    double lastTime = 0.0; // of the last picture, microseconds; gathers fractions over pictures without a time
    int rotation = 0;
    bool isImage = false;
    bool isLinear = false;
    bool timesOnly = false;
    bool seekSkipping = false;
    bool hasSkipped = false; // since SetSeekSkipping
    bool hasDoubt = false;
    QVector<long long> damage;
    int failuresInARow = 0; // since the last picture
    bool awaitsKeyPicture = false;
    bool hasBegun = true;                        // a packet was sent since BeginAtKeyPicture
    long long beginTime = 0;                     // of its picture
    FfmpegPtr<AVFrame> frame;                    // the picture being turned into a record
    std::vector<ResizedPicture> resizedPictures; // of the last call, for FollowSizeChange
    std::unique_ptr<SkipProof> skipProof;
    std::shared_ptr<PictureBuffers> pictureBuffers;
    std::unique_ptr<PictureScaler> scaler; // outlives Shutdown, to serve the next Initialize
    ColourSettings colours;
    int mostThreads = 0;
    std::unique_ptr<StreamConverter> converter; // of the stream's colours, once they are asked for; outlives Shutdown
};
