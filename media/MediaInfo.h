#pragma once

#include "TavolinAVExport.h"
#include "common/AudioStream.h"
#include "common/VideoStream.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QUuid>

// The description of one media source: a movie, an audio file, a still image or one file of an image sequence.
//
//     auto info = std::make_shared<MediaInfo>(path);
//     info->isImage = ...;             // the host decides, before probing
//     MediaReader::ParseMedia(info);   // fills it; read-only afterwards
//
// Times are microseconds. No locks: only the probing thread may use it until ParseMedia has returned; then any thread
// may read it. Every field about the picture describes the first video stream.
class TAVOLINAV_EXPORT MediaInfo
{
public:
    explicit MediaInfo(QString const& path); // keeps the path unchanged
    ~MediaInfo();

    bool IsInitialized() const;       // whether the last ParseMedia succeeded
    QUuid const& GetID() const;       // unique
    QUuid const& GetSourceID() const; // the host's `sourceId`; null until it is set
    QString GetFilePath() const;      // as given to the constructor
    QString GetFileName() const;      // the last component of the path
    long long GetStartTime() const;   // 0 for an image and without video
    bool IsImage() const;             // the host's `isImage`

    // The container's duration, -1 when unknown. For an image with a picture: the duration of one frame, -1 for a still
    // image.
    long long GetDuration() const;
    double GetDurationInSeconds() const;

    // "hours:minutes:seconds.hundredths", at least two digits each. The seconds field is the whole duration, with the
    // minutes not taken out: 1:02:05.50 prints as 01:02:3725.50.
    QString GetDurationAsString() const;

    bool IsLinearColorSpace() const; // the host's `isLinearColorSpace`
    long long GetFrameStep() const;  // duration of a picture; 0 without video
    long long GetNumFrames() const;  // 0 without video
    double GetFrameRate() const;     // pictures per second; 0.0 without video
    int GetVideoWidth() const;       // coded width in pixels; 0 without video
    int GetVideoHeight() const;      // coded height in pixels; 0 without video
    bool IsVideoRotated() const;     // by 90 or 270 degrees: width and height are exchanged on screen
    int GetNumAudioStreams() const;  // all records, including invalid ones
    int GetNumVideoStreams() const;  // all records, including invalid ones

    // Copies the record of the container's stream `index` (not a position in the list) into `out`. Without such a
    // record `out` stays unchanged; a default-constructed `out` then has `valid` false.
    void GetAudioStream(int index, AudioStream& out) const;
    void GetVideoStream(int index, VideoStream& out) const;
    QList<AudioStream> const& GetAudioStreams() const; // container order
    QList<VideoStream> const& GetVideoStreams() const; // container order

    void DebugPrint() const; // does nothing; a place for a breakpoint

private:
    friend class MediaReader;

    QString filePath;
    bool initialized = false;
    QUuid id;

public:
    QUuid sourceId; // set by the host: a second identity

private:
    long long duration = 0; // -1: unknown

public:
    // Set by the host before probing.
    bool isImage = false;            // a still image, or one file of an image sequence
    bool isLinearColorSpace = false; // pictures are in linear light and get gamma-encoded

private:
    QMap<QString, QString> metadata;
    QList<AudioStream> audioStreams;
    QList<VideoStream> videoStreams;
};
