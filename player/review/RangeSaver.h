#pragma once

#include "source/MediaItems.h"
#include "source/ReadResult.h"
#include "source/SourceOptions.h"

#include <QElapsedTimer>
#include <QString>
#include <QThread>

#include <atomic>
#include <memory>

class MediaInfo;
class PictureIndex;
class QSaveFile;
class SoundStream;

// Saves a range of what is open, on an idle thread with a decoder of its own: the pictures as PNG files that bear their
// true numbers ("shot-000137.png"), or the sound as a WAV file.
//
// No file is overwritten by pictures. After a failure or Stop the pictures saved so far stay; a WAV file is there whole
// or not at all.
class RangeSaver : public QThread
{
    Q_OBJECT

public:
    struct Job
    {
        QString path; // ends in ".wav" for the sound; otherwise its stem begins the names of the pictures
        long long from = 0;
        long long to = 0; // the first moment after the range, microseconds of media time

        MediaItem item;
        SourceOptions options;
        std::shared_ptr<PictureIndex const> index; // for pictures
        long long firstNumber = 0;                 // of the first picture, in the names of the files

        std::shared_ptr<MediaInfo> soundInfo; // for sound, as in PlaybackStatus
        int soundStream = -1;                 // in the container
        long long origin = 0;
    };

    RangeSaver(Job const& job, QObject* parent);
    ~RangeSaver() override; // stops and waits, for as long as a read takes to notice

    void Stop() { stopped = true; } // any thread

signals:
    void Progressed(QString const& text); // a few times a second
    void Ended(QString const& sentence);  // what came of it

protected:
    void run() override;

private:
    QString SavePictures();
    QString SavePicturesFrom(long long first, long long last);
    QString FindExisting(long long first, long long last) const;
    QString SaveSound();
    bool WriteSound(SoundStream& sound, QSaveFile& file, long long frames, QString& fault);
    QString PathOf(long long number) const; // of the picture, from 0
    void TellProgress(long long done, long long all, char const* what);

    Job const job;
    std::atomic<bool> stopped{false};
    StopCheck const stop = [this] { return stopped.load(); };
    QElapsedTimer sinceTold; // invalid before the first time
};
