#pragma once

#include "TavolinAVExport.h"
#include "decode/ColourSettings.h"
#include "media/FfmpegPtr.h"

#include <QList>
#include <QString>

#include <memory>

class AudioDecoder;
class MediaInfo;
class VideoDecoder;
struct DecodedAudioFrame;
struct DecodedVideoFrame;

// One open decoding session on one media source: the demultiplexer, one video and one audio stream with their decoders,
// and the one packet in hand.
//
//     MediaInstance instance;
//     instance.Initialize(info, 0);
//     while (instance.HasPacket())                       // opens the file when it is not
//         instance.DecodePacket(sounds, pictures, -1);   // the last call drains both decoders
//
// Times are microseconds; pictures count from the first one, sounds and seek targets are the container's. All calls on
// one instance come from one thread at a time. Failures are logged. Every call is safe in every state.
class TAVOLINAV_EXPORT MediaInstance
{
public:
    MediaInstance(); // of no source yet: see Initialize
    ~MediaInstance();
    MediaInstance(MediaInstance const&) = delete;
    MediaInstance& operator=(MediaInstance const&) = delete;

    // `mediaInfo` is a probed description, which is not kept alive; `instanceId` is the host's own. False when the
    // description is gone or not probed, and then nothing changes. The file is not opened yet. Again, it replaces the
    // session by one on the new source.
    bool Initialize(std::weak_ptr<MediaInfo> mediaInfo, long long instanceId);

    // Opens the file and, where it has such streams, the best audio and video stream; no packet is in hand then, so
    // most hosts leave the opening to HasPacket. An input that is open already gives way to the new one; where the
    // description is gone or the file cannot be opened, it stays as it is. After any other failure, what was opened
    // stays open until CloseInput.
    bool OpenInput();

    void CloseInput(); // can be opened again
    void Shutdown();   // for good

    // Whether a packet is in hand. Opens the input and loads the first packet when it is not open; false when that
    // fails.
    bool HasPacket();

    // Replaces the packet in hand by the next one. After the end of the input only when `force` is set, and then
    // always by something: the packet that drains the decoders, if nothing else.
    void PrepareNextPacket(bool force);

    void ClearPacket();         // lets go of the packet in hand
    bool IsAudioPacket() const; // the packet in hand is one of the chosen audio stream
    bool IsVideoPacket() const; // of the chosen video stream
    bool IsKeyPacket() const;   // decoding may begin with the packet in hand

    // Presentation time of the packet in hand in the container's time; the lowest possible time when it bears none.
    long long GetPacketTime() const;

    // Whether the pictures' times stand in the file. Those of an elementary stream, and of images one behind the other,
    // are counted by FFmpeg: they are right from the beginning on, but not after a seek. False before the file is open.
    bool HasStoredTimes() const;

    bool IsEndOfFile() const; // nothing was left to read; the packet in hand may still be the one that drains

    // Whether seeks in this source need to begin well before their target: it has MPEG-1 video.
    bool RequiresLargeSeekOffset() const;
    std::weak_ptr<MediaInfo> GetMediaInfo() const; // as given to Initialize

    // Decodes the packet in hand and every audio packet that follows it directly, appends the records, and leaves the
    // first other packet in hand. The packet after the last one drains both decoders. `seekTime` is the target of a
    // pending seek, negative without one. To be called after HasPacket said true.
    void DecodePacket(QList<std::shared_ptr<DecodedAudioFrame>>& audioFrames,
                      QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime);

    // One turn of DecodePacket: decodes just the packet in hand and takes the next one. For hosts that bound their
    // memory, since DecodePacket decodes a file of sound alone in one call.
    void DecodeOnePacket(QList<std::shared_ptr<DecodedAudioFrame>>& audioFrames,
                         QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime);

    // To be called right after DecodePacket or DecodeOnePacket delivered a record with status 1: sets the video decoder
    // up for the new coded size and appends the picture that the record stood for. False when that cannot be.
    bool FollowSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames);

    // Drains the video decoder as the end of the input does and leaves the packet in hand alone: appends the pictures
    // that are held back and the mark of the end. Only a seek makes the decoder take packets again. For hosts that want
    // a stretch of pictures and nothing after it.
    void DrainVideo(QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime);

    // As VideoDecoder's operations of these names, from Initialize on; the settings outlive seeks and closing.
    void SetSeekSkipping(bool skips);
    bool HasSkippedInDoubt() const;
    void BeginAtKeyPicture();
    bool IsBeforeKeyPicture() const;

    // Moves to the key frame at or before `time` in the container's time, as far as the container can, and loads the
    // packet found there. Images are reopened instead. A seek that fails changes nothing.
    void Seek(long long time);

    // Whether the last seek failed. FFmpeg may have moved in the file all the same: what is read next lies anywhere,
    // and its time cannot be trusted.
    bool HasSeekFailed() const;

    // Whether both sessions deliver sound of the same kind.
    bool IsAudioMatched(std::shared_ptr<MediaInstance> other);

    void SetDecoderFrameRate(double frameRate); // pictures per second, see VideoDecoder; after Initialize

    // How many threads decode and convert one picture at most, for a host that decodes several files at the same time;
    // 0, as at first: as many as the codec can use. Counts from the next opening of the input on, that of Initialize
    // too.
    void SetMostThreads(int threads);

    // Which stream of sound is opened, by its position among the container's streams; -1, as at first: the best one.
    // The opening fails where that is no stream of sound or has no decoder. Counts from the next opening of the input
    // on, that of Initialize too.
    void SetAudioStream(int streamIndex);

    // How the colours of the pictures from the next one on are converted, also after the input was opened again. By
    // default by the converter's defaults, whatever the stream says. In every state.
    void SetColours(ColourSettings const& colours);
    QString DescribeColours() const; // see VideoDecoder; empty before the first picture

    // Has the demultiplexer leave out what is not of the stream of sound, where it can: most of a movie is not read
    // from the file then. For hosts that read sound alone from here to the end. Once the input is open, until it is
    // closed.
    void LeaveOutPictures();

    // Positions among the container's streams, -1 without such a stream.
    int GetActiveAudioStreamIndex() const;
    int GetActiveVideoStreamIndex() const;

    // Of the audio stream once it is open; 0 and false before.
    int GetChannelCount() const;
    int GetOutputChannelCount() const; // not more than AvGlobals::maxAudioOutputChannels
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
    int audioStreamIndex = -1; // or a negative FFmpeg code
    int videoStreamIndex = -1;
    int channelCount = 0;
    int sampleRate = 0;
    int bytesPerSample = 0;
    bool planer = false;
    bool packetLoaded = false; // the packet in hand holds something
    bool endOfFile = false;
    bool requiresLargeSeekOffset = false;
    bool seekFailed = false;
    ColourSettings colours;
    int mostThreads = 0;
    int wantedAudioStream = -1; // the best

    // The decoders use the codec contexts, so they are declared after them and go first.
    FfmpegPtr<AVFormatContext> formatContext;
    FfmpegPtr<AVCodecContext> audioCodecContext;
    FfmpegPtr<AVCodecContext> videoCodecContext;
    FfmpegPtr<AVPacket> packet;
    std::unique_ptr<AudioDecoder> audioDecoder;
    std::unique_ptr<VideoDecoder> videoDecoder;
};
