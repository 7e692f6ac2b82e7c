#pragma once

#include "TavolinAVExport.h"
#include "media/FfmpegPtr.h"

#include <QMap>
#include <QString>

#include <memory>

class MediaInfo;
struct AVDictionary;

// Probes media files, and opens, reads and closes them for decoding sessions. Stateless: calls on different MediaInfo
// objects may run on different threads at the same time. Failures are logged where they happen.
class TAVOLINAV_EXPORT MediaReader
{
public:
    // Fills `info` from its file: streams, tags, durations, rates, and, unless it is an image, the time of each video
    // stream's first picture, for which it decodes among the first 250 packets. False when the file cannot be opened or
    // holds no stream information; streams without a decoder only leave records that are not valid. Meant to run once;
    // again, it rebuilds the streams and adds to the tags.
    static bool ParseMedia(std::shared_ptr<MediaInfo> info);

    // The same of an input that OpenInput has opened, so that a host can look into it before and after without opening
    // the file once more. On failure it is closed.
    static bool ParseInput(std::shared_ptr<MediaInfo> info, FfmpegPtr<AVFormatContext>& input);

    // The same source described for decoding it. A session refuses a source with a stream of sound and none that has a
    // decoder, and one with pictures alike: that half is left out where the other can be decoded. Otherwise `info`
    // itself, which is only read, after ParseMedia.
    static std::shared_ptr<MediaInfo> WithoutUndecodable(std::shared_ptr<MediaInfo> info);

    // Describes `info` as `like` was, another file of the same kind and size, without opening anything: most files of
    // an image sequence differ in nothing that a description tells. False when `like` was not described itself.
    static bool TakeDescription(std::shared_ptr<MediaInfo> info, MediaInfo const& like);

    // `*formatContext` receives the opened file, the caller's to close; false leaves it null.
    static bool OpenInput(std::shared_ptr<MediaInfo> info, AVFormatContext** formatContext);

    // Adds the tags of `dictionary` (null for none): keys as they stand, values as UTF-8, later ones replacing earlier.
    static void ParseMetadata(AVDictionary* dictionary, QMap<QString, QString>& metadata);

    // Fill the last record of the list from the container's stream; false leaves it as it was, not valid. False, too,
    // and not logged, where the list has no record.
    static bool ParseAudioProperties(std::shared_ptr<MediaInfo> info, AVFormatContext* formatContext,
                                     unsigned long streamIndex);
    static bool ParseVideoProperties(std::shared_ptr<MediaInfo> info, AVFormatContext* formatContext,
                                     unsigned long streamIndex);

    // Reads the next packet of any stream. At the end, and on an error, false and an empty packet of stream -1, which a
    // decoder takes as the request to drain; a null packet is just false.
    static bool GetPacket(AVFormatContext* formatContext, AVPacket* packet);

    static void CloseInput(AVFormatContext** formatContext); // sets it to null
};
