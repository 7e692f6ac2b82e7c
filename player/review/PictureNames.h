#pragma once

#include "common/Timecode.h"
#include "player/review/Reading.h"

#include <QString>

#include <memory>
#include <optional>

class PictureIndex;
struct PlaybackStatus;

// The names of the moments of what is open: the time, the SMPTE timecode of the source, and the picture's number from
// 0 (of a sequence, from that of its first file); and which moment a typed name means. Timecode and number are only
// told when the true numbers are known. Times are microseconds of media time. A value.
class PictureNames
{
public:
    PictureNames() = default; // nothing is open
    explicit PictureNames(PlaybackStatus const& status);

    bool Has(Reading reading) const;
    bool HasDuration() const { return end > start; }
    long long GetPictureCount() const; // 0 when unknown
    long long GetStart() const { return start; }
    long long GetEnd() const { return end; }

    // Of the picture showing at `time`; empty when that name is not known.
    QString At(long long time, Reading reading) const;
    std::optional<long long> NumberAt(long long time) const; // of a sequence, the one in the file's name
    QString WholeText() const;                               // how many pictures, or the last number of a sequence

    // From `from` to before `to`: "0:00:00.400", "00:00:00:10", "10 pictures"; empty when unknown.
    QString LengthText(long long from, long long to, Reading reading) const;
    std::optional<long long> PicturesIn(long long from, long long to) const;

    // The span in which the picture of `time` shows, as exactly as it is known.
    long long StartOfPicture(long long time) const;
    long long EndOfPicture(long long time) const; // the first moment after it

    long long LastPictureBefore(long long time) const; // start of the picture that shows until then

    bool Contains(long long time) const; // whether it lies within the media

    // The moment that `text` means: a time in one of TimeText's forms, a timecode, "#12" for a number, and plain digits
    // for a number when that is the `usual` reading. Without a time, `fault` is one sentence.
    struct Place
    {
        std::optional<long long> time;
        QString fault;
    };
    Place Find(QString const& text, Reading usual) const;
    Place FindNumber(QString const& digits) const;
    Place FindTimecode(QString const& text) const;
    Place FindTime(QString const& text) const;

private:
    QString TimeAt(long long time) const;
    std::optional<Timecode> TimecodeOf(long long number) const;

    long long start = 0;
    long long end = 0; // not after the start when unknown
    bool hasPictures = false;
    long long step = 1;
    bool isSequence = false;
    long long firstNumber = 0;
    std::shared_ptr<PictureIndex const> index;
    std::optional<Timecode> startTimecode;
    long long picturesPerTimecode = 1; // 2 where 50 pictures a second have a timecode of 25
};
