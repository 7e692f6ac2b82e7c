#pragma once

#include "decode/ColourSettings.h"

#include <QList>
#include <QMap>
#include <QString>

#include <memory>

class MediaInfo;
class MessageLog;
struct AVFormatContext;
struct DecodedVideoFrame;

// A media file as a host meets it: the library's description, and beside it what the host finds out by itself before
// it asks the library, since it must say what is a still image. Read-only once open.
class MediaSource
{
public:
    enum class StreamType { Video, Audio, Other };

    // A stream as the container announces it, whether the library can decode it or not.
    struct Stream
    {
        int index = -1;
        StreamType type = StreamType::Other;
        QString codec;                  // FFmpeg's name of the format, "unknown" when it has none
        QString tag;                    // the container's own name of it, such as "avc1"
        bool isAttachedPicture = false; // cover art
    };

    explicit MediaSource(QString const& path);

    // Looks into the file and probes it. False when it cannot be opened or described; the library has said why.
    bool Open();

    // For decoding: without a half of which no stream has a decoder.
    std::shared_ptr<MediaInfo> const& GetInfo() const { return info; }

    std::shared_ptr<MediaInfo> const& GetWholeInfo() const { return wholeInfo; } // for describing
    QString const& GetFormatName() const { return formatName; }
    QMap<QString, QString> const& GetTags() const { return tags; } // of the container
    QList<Stream> const& GetStreams() const { return streams; }

    // The container's stream behind the record at `position` in the library's list of that type, which may hold
    // records that are not valid.
    Stream GetStream(StreamType type, int position) const;

    bool HasStreams() const;   // of pictures or sound, decodable or not
    bool HasPictures() const;  // that are not left out
    bool HasSound() const;     // the same
    bool HasCoverOnly() const; // its only pictures are attached ones

    // Whether a seek can be trusted: not in a file without a duration, nor where packets bear no times.
    bool CanSeek() const;

    // How whoever decodes it is to convert its pictures; by the converter's defaults at first.
    void SetColours(ColourSettings const& newColours) { colours = newColours; }
    ColourSettings const& GetColours() const { return colours; }

    QString Describe() const;                // what it is: "movie", "still image", "sound with cover art", ...
    QStringList DescribeUndecodable() const; // one line for each stream without a decoder
    bool LeavesOutAHalf() const;             // all of its pictures, or all of its sound

    // A time of the container on the clock of the pictures, whose 0 is the first of them.
    long long ToMediaTime(long long containerTime) const;

    // When the last picture of all is gone: it stays until the file ends, or for the time of one picture where the file
    // does not tell its end.
    long long EndOfLastPicture(DecodedVideoFrame const& last) const;

private:
    bool LookInto();
    void TakeStreams(AVFormatContext* formatContext);
    bool IsStillImage() const;

    std::shared_ptr<MediaInfo> wholeInfo;
    std::shared_ptr<MediaInfo> info;
    QString formatName;
    QMap<QString, QString> tags;
    QList<Stream> streams;
    bool packetsBearTimes = true;
    ColourSettings colours;
};

// Opens `path` and says on standard error what is wrong when it cannot be used; empty then.
std::unique_ptr<MediaSource> OpenSource(QString const& path, MessageLog& log);
void SayUndecodable(MediaSource const& source); // a line on standard error for each stream without a decoder
std::unique_ptr<MediaSource> OpenPictures(QString const& path, MessageLog& log); // empty for sound alone, too
std::unique_ptr<MediaSource> OpenSound(QString const& path, MessageLog& log);    // empty without sound, too
