#pragma once

#include "TavolinAVExport.h"
#include "media/FfmpegPtr.h"

#include <QMap>
#include <QString>

#include <memory>

class MediaInfo;
struct AudioStream;
struct AVDictionary;
struct VideoStream;

// Probes media files; opens, reads and closes them for decoding sessions. Stateless: calls on different MediaInfo
// objects may run on different threads at the same time. The operation that fails logs the error.
class TAVOLINAV_EXPORT MediaReader
{
public:
    // Fills `info` from its file: streams, tags, durations, rates and, unless it is an image, the time of each video
    // stream's first picture, which takes decoding up to 250 packets. False when the file cannot be opened or has no
    // stream information; a stream without a decoder only leaves an invalid record. Meant to run once; a second run
    // rebuilds the streams and adds to the tags.
    static bool ParseMedia(std::shared_ptr<MediaInfo> info);

    // Probes an input that OpenInput has opened, so that a host can use the open input before and after without opening
    // the file again. Closes the input on failure.
    static bool ParseInput(std::shared_ptr<MediaInfo> info, FfmpegPtr<AVFormatContext>& input);

    // Whether a session can decode the stream: it has a decoder, and the start of the file tells its channels and rate,
    // or its size. A transport stream can announce a stream whose first packet comes much later, or never.
    static bool IsDecodable(AudioStream const& stream);
    static bool IsDecodable(VideoStream const& stream);

    // Returns a description that a session can decode. A session fails to open when the source has audio streams but
    // none is decodable, and likewise for video. When one kind cannot be decoded and the other can, the result is a
    // copy without the streams of the first kind; otherwise it is `info` itself. Only reads `info`, after ParseMedia.
    static std::shared_ptr<MediaInfo> WithoutUndecodable(std::shared_ptr<MediaInfo> info);

    // Copies the description of `like`, another file of the same kind and size, to `info` without opening a file: most
    // files of an image sequence have equal descriptions. False when `like` has not been probed itself.
    static bool TakeDescription(std::shared_ptr<MediaInfo> info, MediaInfo const& like);

    // `*formatContext` receives the opened input, which the caller must close; null on failure.
    static bool OpenInput(std::shared_ptr<MediaInfo> info, AVFormatContext** formatContext);

    // Adds the tags of `dictionary` (may be null): keys unchanged, values as UTF-8; a later tag replaces an earlier
    // one.
    static void ParseMetadata(AVDictionary* dictionary, QMap<QString, QString>& metadata);

    // Fill the last record of the list from the container's stream. On failure they return false and leave the record
    // invalid. With an empty list they return false without logging.
    static bool ParseAudioProperties(std::shared_ptr<MediaInfo> info, AVFormatContext* formatContext,
                                     unsigned long streamIndex);
    static bool ParseVideoProperties(std::shared_ptr<MediaInfo> info, AVFormatContext* formatContext,
                                     unsigned long streamIndex);

    // Reads the next packet of any stream. At the end of the file and on an error: false and an empty packet of stream
    // -1, which makes a decoder drain. A null packet only gives false.
    static bool GetPacket(AVFormatContext* formatContext, AVPacket* packet);

    static void CloseInput(AVFormatContext** formatContext); // sets it to null
};
