#pragma once

#include "tools/SourceReader.h"
#include "tools/commands/TimeRange.h"

#include <QString>
#include <QStringList>

#include <limits>
#include <memory>

class MediaSource;

// Counts the decoded pictures shown in a range of time, and the frames of sound that overlap it. If sums are requested,
// writes one line per picture immediately and one per frame of sound at the end, so that the order does not depend on
// how far a decoder runs ahead.
//
// Times are microseconds from the first picture.
class DecodeReport
{
public:
    DecodeReport(MediaSource const& source, TimeRange const& range, bool withSums);

    void Take(SourceReader::Records const& records);
    void Finish(); // call after the last Take

    bool IsRangeDone() const; // nothing more of the range can come
    bool IsEmpty() const { return pictureCount == 0 && soundCount == 0; }
    long long GetReachedTime() const; // of the latest record

    QString Summary(double elapsedSeconds) const; // lines of text

private:
    // The span of what was counted.
    struct Span
    {
        long long start = std::numeric_limits<long long>::max();
        long long end = std::numeric_limits<long long>::min();

        void Include(long long newStart, long long newEnd);
        long long Duration() const { return end > start ? end - start : 0; }
    };

    void TakePicture(std::shared_ptr<DecodedVideoFrame> const& record);
    void CountPicture(DecodedVideoFrame const& record);
    void TakeSound(DecodedAudioFrame const& record);
    long long EndWithLag() const;
    long long StepAfter(DecodedVideoFrame const& record) const;
    QString PictureLine() const;
    QString SoundLine() const;
    QString SpeedLine(double elapsedSeconds) const;

    MediaSource const& source;
    TimeRange range;
    bool withSums;

    std::shared_ptr<DecodedVideoFrame> showingAtBegin; // the latest one that starts by the range's begin
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
