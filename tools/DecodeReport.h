#pragma once

#include "tools/SessionWalk.h"

#include <QString>
#include <QStringList>

#include <limits>
#include <memory>

class Source;

// Counts what a decode delivers: pictures and frames of sound. Writes one line a picture to standard output as it
// comes, and one a frame of sound at the end, when sums are asked for; so the order does not depend on how far a
// decoder runs ahead.
//
// Times are microseconds from the first picture.
class DecodeReport
{
public:
    DecodeReport(Source const& source, bool withSums);

    void Begin(); // something may come
    void Take(SessionWalk::Records const& records);
    void TakePicture(DecodedVideoFrame const& record);
    void TakeSound(DecodedAudioFrame const& record);
    void Finish(); // nothing more will come

    bool IsEmpty() const { return pictureCount == 0 && soundCount == 0; }
    long long GetReachedTime() const; // of the latest record

    QString Summary(double elapsedSeconds) const; // lines of text

private:
    // The first and last moment of what was counted.
    struct Span
    {
        long long start = std::numeric_limits<long long>::max();
        long long end = std::numeric_limits<long long>::min();

        void Include(long long newStart, long long newEnd);
        long long Duration() const { return end > start ? end - start : 0; }
    };

    long long StepAfter(DecodedVideoFrame const& record) const;
    QString PictureLine() const;
    QString SoundLine() const;
    QString SpeedLine(double elapsedSeconds) const;

    Source const& source;
    bool withSums;

    long long pictureCount = 0;
    QStringList pictureSizes; // different ones, in the order of their first picture
    Span pictureSpan;
    long long pictureReached = std::numeric_limits<long long>::min();
    long long endMarks = 0;
    long long sizeMarks = 0;

    long long soundCount = 0;
    long long samplesPerChannel = 0;
    int sampleRate = 0;
    int channels = 0;
    Span soundSpan;
    long long soundReached = std::numeric_limits<long long>::min();
    QStringList soundSums;
};
