#pragma once

#include "tools/report/SessionWalk.h"

#include <QString>
#include <QStringList>

#include <limits>
#include <memory>

class PictureIndex;
class Source;
struct DecodedAudioFrame;
struct DecodedVideoFrame;

// Counts decoded pictures and frames of sound. If sums are requested, writes one line per picture immediately and one
// per frame of sound at the end, so that the order does not depend on how far a decoder runs ahead.
//
// Times are microseconds from the first picture.
class DecodeReport
{
public:
    DecodeReport(Source const& source, bool withSums);

    void Begin(); // call before the first of these
    void Take(SessionWalk::Records const& records);
    void TakePicture(DecodedVideoFrame const& record);
    void TakeSound(DecodedAudioFrame const& record);
    void Finish(); // call after the last

    // The true numbers of the pictures, for a report that does not begin with the first; may be null.
    void SetNumbers(std::shared_ptr<PictureIndex const> index);

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

    long long StepAfter(DecodedVideoFrame const& record) const;
    QString PictureLine() const;
    QString NumbersText() const;
    QString SoundLine() const;
    QString SpeedLine(double elapsedSeconds) const;

    Source const& source;
    bool withSums;
    std::shared_ptr<PictureIndex const> index;

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

// MD5 sums of records, as 32 hexadecimal digits.
namespace RecordSum {

QString Of(DecodedVideoFrame const& record); // the pixels' bytes row by row, without the padding of the rows
QString Of(DecodedAudioFrame const& record); // the samples, 16 bits each, the low byte first

} // namespace RecordSum
