#pragma once

#include "source/ImageSequence.h"
#include "source/PictureStream.h"
#include "source/SoundStreamInfo.h"
#include "source/SourceOptions.h"
#include "source/StartTimecode.h"
#include "source/StreamColours.h"

#include <QList>
#include <QMap>
#include <QString>

#include <memory>

class MediaInfo;
class SoundStream;
struct AVFormatContext;
struct MediaItem;

// What a file, or a row of numbered ones, is: found out once, by one opening of the file. The engine, the window and
// the commands all ask here, and so agree about it. A value; any thread that has it for itself, or all that only read.
//
//     Source const source = Source::Open(path, options);
//     auto pictures = source.OpenPictures(); // null without; each stream opens the file once for itself
//     auto sound = source.OpenSound();
//
// Times are microseconds.
class Source
{
public:
    enum class StreamType { Video, Audio, Other };

    // A stream as the container announces it, whether it can be decoded or not.
    struct Stream
    {
        int index = -1;
        StreamType type = StreamType::Other;
        QString codec;                  // FFmpeg's name of the format, "unknown" when it has none
        QString tag;                    // the container's own name of it, such as "avc1"
        bool isAttachedPicture = false; // cover art
        long long bitRate = 0;          // bits per second, as the container says or FFmpeg reckons; 0: unknown
        long long frameCount = 0;       // pictures, or packets of sound, as the container says; 0 when it does not
        bool lowerFieldFirst = false;   // of two fields in a picture, the lower one is shown first
    };

    // A sequence for a pattern and a folder, a file for anything else. Takes as long as probing takes; logs what fails.
    static Source Open(QString const& path, SourceOptions const& options = {});
    static Source Open(MediaItem const& item, SourceOptions const& options = {}); // see MediaItems
    static Source OpenFile(QString const& path, SourceOptions const& options = {});
    static Source OpenSequence(QString const& path, SourceOptions const& options = {}); // see ImageSequence::Find

    SourceKind GetKind() const { return kind; }
    QString Describe() const; // "movie", "still image", "sound with cover art"...

    // Why the kind is None, or which half of it has no decoder; one sentence, empty when all can be decoded.
    QString const& GetError() const { return error; }

    // Null without pictures or sound, and if they cannot be decoded. A cover is decoded by this call, unless `stop`
    // says that nobody needs it.
    std::unique_ptr<PictureStream> OpenPictures(StopCheck const& stop = neverStop) const;
    std::unique_ptr<SoundStream> OpenSound() const;
    std::unique_ptr<SoundStream> OpenSound(int soundStream) const; // of this number, see SourceOptions

    bool HasPictures() const; // that have a decoder
    bool HasSound() const;    // the same

    // The library's description of a file, null for a sequence: of all of it, and without a half of which no stream has
    // a decoder, for decoding the rest.
    std::shared_ptr<MediaInfo> const& GetWholeInfo() const { return wholeInfo; }
    std::shared_ptr<MediaInfo> const& GetInfo() const { return info; }

    QString const& GetPath() const { return path; }

    // For messages: the path; of a sequence that was opened by a file or a folder, its pattern.
    QString GetName() const;

    QString const& GetFormatName() const { return formatName; }    // of the demultiplexer
    QMap<QString, QString> const& GetTags() const { return tags; } // of the container
    QList<Stream> const& GetStreams() const { return streams; }
    QList<StreamColours> const& GetTaggedColours() const { return taggedColours; } // of all streams of pictures
    long long GetBitRate() const { return bitRate; } // of all streams, bits per second; 0: unknown

    QList<SoundStreamInfo> GetSoundStreams() const; // of the container, in its order

    // The container's index of the stream that pictures are decoded from; -1 without one.
    int GetPictureStream() const { return pictureStream; }

    // The container's stream behind the record at `position` in the description's list of that type, which may hold
    // records that are not valid.
    Stream GetStream(StreamType type, int position) const;

    bool IsDescribed() const;    // it was opened and described, whatever is in it
    bool HasStreams() const;     // of pictures or sound, decodable or not
    bool HasCoverOnly() const;   // its only pictures are cover art
    bool HasOnePicture() const;  // it shows at all times
    bool LeavesOutAHalf() const; // all of its pictures, or all of its sound, as there is no decoder

    // Whether the length that the file tells can be trusted: not where packets bear no times.
    bool IsDurationTrusted() const;

    // How pictures from streams opened later are converted.
    void SetColours(ColourSettings const& colours) { options.colours = colours; }
    ColourSettings const& GetColours() const { return options.colours; }

    // Which stream of sound is opened later, see SourceOptions.
    void SetSoundStream(int number) { options.soundStream = number; }
    int GetSoundStream() const { return options.soundStream; }

    ImageSequence const& GetSequence() const { return sequence; } // empty of a movie and of sound
    double GetSequenceRate() const;                               // pictures per second, as the options say

    // As coded; 0 without pictures, and of a sequence.
    int GetWidth() const;
    int GetHeight() const;

    double GetUntimedRate() const { return options.untimedRate; } // pictures per second where nothing says it
    bool IsLowerFieldFirst() const; // of two fields in a picture, the lower one is shown first

    double GetFrameRate() const;      // pictures per second; 0 when nothing says it, and of one picture
    long long GetFrameStep() const;   // from picture to picture, an estimate where nothing says it
    long long GetFirstNumber() const; // of the first file of a sequence; 0 of anything else
    long long GetDuration() const;    // as the container says, -1 when it does not; 0 of a still image
    long long GetOrigin() const;      // the container's time of media time 0, as far as the description tells
    long long ToMediaTime(long long containerTime) const { return containerTime - GetOrigin(); }

    // Of the first picture, by SMPTE ST 12-1; without text when the file says none.
    StartTimecode const& GetStartTimecode() const { return startTimecode; }

    // When the last picture of all is gone: it stays until the file ends, or for the time of one picture where the file
    // does not tell its end.
    long long EndOfLastPicture(DecodedVideoFrame const& last) const;

    // Whether the picture that was found for `time` is the last one and gone by then. A single picture never is.
    bool IsOver(DecodedVideoFrame const& found, long long time) const;

private:
    bool DescribeFile();
    void LogError() const;
    bool IsCover(int position) const;
    void TakeStreams(AVFormatContext const& input);
    void TakeKind();

    QString path;
    SourceOptions options;
    SourceKind kind = SourceKind::None;
    QString error;
    ImageSequence sequence; // also of a still image
    std::shared_ptr<MediaInfo> wholeInfo;
    std::shared_ptr<MediaInfo> info;
    QString formatName;
    QMap<QString, QString> tags;
    QList<Stream> streams;
    QList<StreamColours> taggedColours;
    StartTimecode startTimecode;
    long long bitRate = 0;
    bool packetsBearTimes = true;
    int pictureStream = -1;
};
