#pragma once

#include "TavolinAVExport.h"
#include "decode/ColourSettings.h"
#include "media/FfmpegPtr.h"

#include <QList>
#include <QString>
#include <QVector>

#include <memory>

class AudioDecoder;
class MediaInfo;
class VideoDecoder;
struct DecodedAudioFrame;
struct DecodedVideoFrame;

// One decoding session on one media source: the demuxer, one video and one audio stream with their decoders, and the
// current packet.
//
//     MediaInstance instance;
//     instance.Initialize(info, 0);
//     while (instance.HasPacket())                       // opens the file if needed
//         instance.DecodePacket(sounds, pictures, -1);   // the last call drains both decoders
//
// Times are microseconds: picture times count from the first picture, audio times and seek targets are container times.
// All calls on one instance come from one thread at a time. Failures are logged. Every call is safe in every state.
class TAVOLINAV_EXPORT MediaInstance
{
public:
    MediaInstance(); // has no source before Initialize
    ~MediaInstance();
    MediaInstance(MediaInstance const&) = delete;
    MediaInstance& operator=(MediaInstance const&) = delete;

    // `mediaInfo` is a probed description, which is not kept alive; `instanceId` is for the host's own use. Returns
    // false and changes nothing when the description is gone or not probed. Does not open the file yet. A second call
    // replaces the session by one on the new source.
    bool Initialize(std::weak_ptr<MediaInfo> mediaInfo, long long instanceId);

    // Opens the file and, if present, the best audio and video stream, without loading a packet; most hosts leave
    // opening to HasPacket. Replaces an input that is already open, unless the description is gone or the file cannot
    // be opened. After any other failure, everything opened so far stays open until CloseInput.
    bool OpenInput();

    void CloseInput(); // OpenInput may follow
    void Shutdown();   // final

    // Whether there is a current packet. If the input is closed, opens it and loads the first packet; false when that
    // fails.
    bool HasPacket();

    // Replaces the current packet by the next one. After the end of the input it does so only when `force` is set; it
    // then always loads a packet, if only an empty one that drains the decoders.
    void PrepareNextPacket(bool force);

    void ClearPacket();         // drops the current packet
    bool IsAudioPacket() const; // whether the current packet belongs to the chosen audio stream
    bool IsVideoPacket() const; // whether it belongs to the chosen video stream
    bool IsKeyPacket() const;   // whether decoding can begin with the current packet

    // Presentation time of the current packet in container time; the lowest 64-bit value when it has none.
    long long GetPacketTime() const;

    // Whether the file stores the pictures' times. FFmpeg counts up the times of an elementary stream and of an image
    // pipe: they are right when reading from the beginning, wrong after a seek. False before the file is open.
    bool HasStoredTimes() const;

    bool IsEndOfFile() const; // the whole input has been read; the current packet may still be the draining one

    // Whether a seek must start well before its target in this source: it has MPEG-1 video.
    bool RequiresLargeSeekOffset() const;
    std::weak_ptr<MediaInfo> GetMediaInfo() const; // as given to Initialize

    // Decodes the current packet and every audio packet that directly follows it, appends the records, and makes the
    // first other packet the current one. The packet after the last one drains both decoders. `seekTime` is the target
    // of a pending seek, negative without one. Call it after HasPacket returned true.
    void DecodePacket(QList<std::shared_ptr<DecodedAudioFrame>>& audioFrames,
                      QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime);

    // Decodes just the current packet and loads the next one, as one step of DecodePacket. For hosts that limit their
    // memory: DecodePacket decodes an audio-only file in a single call.
    void DecodeOnePacket(QList<std::shared_ptr<DecodedAudioFrame>>& audioFrames,
                         QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime);

    // Call this right after DecodePacket or DecodeOnePacket delivered a record with status 1. Sets the video decoder to
    // the new coded size and appends the picture that the record replaced. False on failure.
    bool FollowSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames);

    // Drains the video decoder as at the end of the input, without touching the current packet: appends the pictures
    // held back and the end-of-stream record. The decoder then accepts packets only after a seek. For hosts that need a
    // range of pictures and nothing after it.
    void DrainVideo(QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime);

    // The same as VideoDecoder's operations of these names; valid after Initialize. The settings outlive seeks and
    // closing. Draining stepwise, each further picture takes another PrepareNextPacket(true).
    void SetSeekSkipping(bool skips);
    void SetStepwiseDrain(bool isStepwise);
    bool HasSkippedInDoubt() const;
    QVector<long long> TakeDamage();
    void BeginAtKeyPicture();
    bool IsBeforeKeyPicture() const;

    // Replaces the video codec by a new one, which knows nothing of the pictures so far; the input stays where it is.
    // For a codec that keeps something of a damaged picture through a seek: call it before the seek. Settings of the
    // decoder other than those of this class go back to their defaults. False without an open video stream, and when
    // the codec cannot be opened; the session then decodes no more pictures until it is opened again.
    bool RenewVideoCodec();

    // Moves to the key frame at or before `time` (container time), as far as the container allows, and loads the packet
    // found there. Images are reopened instead. A failed seek changes nothing in the session; see HasSeekFailed.
    void Seek(long long time);

    // Whether the last seek failed. FFmpeg may have moved within the file nevertheless: the next packet can come from
    // any place, and its time is unreliable.
    bool HasSeekFailed() const;

    // Whether both sessions have the same output channels, sample rate, bytes per sample and planar layout.
    bool IsAudioMatched(std::shared_ptr<MediaInstance> other);

    void SetDecoderFrameRate(double frameRate); // pictures per second, see VideoDecoder; call after Initialize

    // The maximum number of threads that decode and convert one picture, for a host that decodes several files at the
    // same time; 0, the default: as many as the codec can use. Takes effect when the input is next opened; outlives
    // Initialize.
    void SetMostThreads(int threads);

    // Pictures that are decoded at the same time, where the codec can; 0, the default: as many as FFmpeg chooses, one
    // more than there are processors. Takes effect as SetMostThreads does, and gives way to it.
    void SetFrameThreads(int threads);

    // The audio stream to open, by its index among the container's streams; -1, the default: the best one. Opening
    // fails if the stream is not audio or has no decoder. Takes effect when the input is next opened; outlives
    // Initialize.
    void SetAudioStream(int streamIndex);

    // How colours are converted from the next picture on, also after the input is reopened. The default is
    // ColourSettings'. Callable in every state.
    void SetColours(ColourSettings const& colours);
    QString DescribeColours() const; // see VideoDecoder; empty before the first picture

    // Makes the demuxer discard all streams except the chosen audio stream, so that most of a movie is not read from
    // the file if the format allows it. For hosts that read only sound from here to the end. Call it while the input is
    // open; lasts until the input is closed.
    void LeaveOutPictures();

    // Indices among the container's streams, -1 without such a stream.
    int GetActiveAudioStreamIndex() const;
    int GetActiveVideoStreamIndex() const;

    // Of the audio stream; 0 and false before it is open.
    int GetChannelCount() const;
    int GetOutputChannelCount() const; // at most AvGlobals::maxAudioOutputChannels
    int GetSampleRate() const;         // Hz
    int GetBytesPerSample() const;     // of one channel, as decoded
    bool IsPlaner() const;             // each channel in a plane of its own, as decoded

private:
    void ForgetSource();
    void ApplyColours();
    bool OpenAudio(MediaInfo const& info);
    bool OpenVideo(MediaInfo const& info);
    void LoadPacket();
    void Reopen();
    int SeekInput(long long time);

    std::weak_ptr<MediaInfo> mediaInfo;
    int instanceId = 0;        // the host's
    int audioStreamIndex = -1; // -1 or a negative FFmpeg code: none
    int videoStreamIndex = -1;
    int channelCount = 0;
    int sampleRate = 0;
    int bytesPerSample = 0;
    bool planer = false;
    bool packetLoaded = false; // there is a current packet
    bool endOfFile = false;
    bool requiresLargeSeekOffset = false;
    bool seekFailed = false;
    ColourSettings colours;
    int mostThreads = 0;
    int frameThreads = 0;
    int wantedAudioStream = -1; // -1: the best

    // Declared after the codec contexts, which the decoders use: destroyed before them.
    FfmpegPtr<AVFormatContext> formatContext;
    FfmpegPtr<AVCodecContext> audioCodecContext;
    FfmpegPtr<AVCodecContext> videoCodecContext;
    FfmpegPtr<AVPacket> packet;
    std::unique_ptr<AudioDecoder> audioDecoder;
    std::unique_ptr<VideoDecoder> videoDecoder;
};
