#pragma once

#include "TavolinAVExport.h"
#include "common/AudioStream.h"
#include "common/VideoStream.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QUuid>

// What is known of one media source: a movie, an audio file, a still image or one file of an image sequence.
//
//     auto info = std::make_shared<MediaInfo>(path);
//     info->isImage = ...;             // the host decides, before probing
//     MediaReader::ParseMedia(info);   // fills it; only read afterwards
//
// Times are microseconds. No lock: nobody else reads it until ParseMedia has returned, and then every thread may.
// Whatever describes the picture is that of the first video stream.
class TAVOLINAV_EXPORT MediaInfo
{
public:
    explicit MediaInfo(QString const& path); // the path is kept as it stands
    ~MediaInfo();

    bool IsInitialized() const;       // whether the last ParseMedia succeeded
    QUuid const& GetID() const;       // never two alike
    QUuid const& GetSourceID() const; // the host's `sourceId`; null until it is set
    QString GetFilePath() const;      // as given to the constructor
    QString GetFileName() const;      // the last component of the path
    long long GetStartTime() const;   // 0 for an image and without video
    bool IsImage() const;             // the host's `isImage`

    // Of the container, -1 when unknown; for an image with a picture the duration of one frame, -1 as well for a still
    // one.
    long long GetDuration() const;
    double GetDurationInSeconds() const;

    // "hours:minutes:seconds.hundredths", two digits each or more. The seconds are the whole duration, minutes not
    // taken out: 1:02:05.50 prints as 01:02:3725.50.
    QString GetDurationAsString() const;

    bool IsLinearColorSpace() const; // the host's `isLinearColorSpace`
    long long GetFrameStep() const;  // duration of a picture; 0 without video
    long long GetNumFrames() const;  // 0 without video
    double GetFrameRate() const;     // pictures per second; 0.0 without video
    int GetVideoWidth() const;       // pixels as coded; 0 without video
    int GetVideoHeight() const;      // the same
    bool IsVideoRotated() const;     // by 90 or 270 degrees, so that width and height change places on screen
    int GetNumAudioStreams() const;  // records in the list, those not valid included
    int GetNumVideoStreams() const;  // the same

    // Copies the record of the container's stream `index` (not a position in the list) into `out`; without such a
    // record `out` stays as it is, so that a default-constructed one tells by `valid`.
    void GetAudioStream(int index, AudioStream& out) const;
    void GetVideoStream(int index, VideoStream& out) const;
    QList<AudioStream> const& GetAudioStreams() const; // container order
    QList<VideoStream> const& GetVideoStreams() const; // the same

    void DebugPrint() const; // does nothing; a place for a breakpoint

private:
    friend class MediaReader;

    QString filePath;
    bool initialized = false;
    QUuid id;

public:
    QUuid sourceId; // the host's: a second identity

private:
    long long duration = 0; // -1: unknown

public:
    // The host's.
    bool isImage = false;            // a still image, or one of a sequence
    bool isLinearColorSpace = false; // pictures in linear light, to be gamma-encoded

private:
    QMap<QString, QString> metadata;
    QList<AudioStream> audioStreams;
    QList<VideoStream> videoStreams;
};
