#pragma once

#include "tools/report/SoundCheck.h"

#include <QByteArray>
#include <QList>

#include <limits>
#include <memory>
#include <vector>

class FfmpegMessages;
class SessionWalk;
class Source;
struct DecodedVideoFrame;

// Decodes a whole source from its beginning to its end and then from its end to its beginning, as playing backwards
// does, and tells what is wrong with it. The files of an image sequence are decoded once, each by itself. Of each
// picture only its time and the sum of its bytes are kept. One thread.
class SourceCheck
{
public:
    using CountErrors = std::function<int()>; // that the library has logged so far about this source

    SourceCheck(Source const& source, CountErrors countErrors, CheckWatch watch = {}); // `source` outlives it

    // False when the source cannot be opened for decoding. What has been found until it was stopped is no verdict.
    bool Run();

    QList<CheckFault> const& GetFaults() const { return faults; } // empty when all is well
    long long GetPictureCount() const { return static_cast<long long>(pictures.size()); }
    long long GetSoundDuration() const { return sound.GetDuration(); } // microseconds

private:
    struct Picture
    {
        long long time = 0;
        QByteArray sum;
    };

    bool ReadForwards();
    void ReadFiles();
    void ReadAll(SessionWalk& walk, FfmpegMessages const& messages);
    void TakePicture(std::shared_ptr<DecodedVideoFrame> const& record);
    void DropWhatShowsBeforeZero();
    void JudgeMessages(FfmpegMessages const& messages, int undecodable);
    void JudgeTimes();
    void JudgeLength();
    long long ReachedTime() const;
    long long EndOfAll() const;
    void ReadBackwards();
    void Compare(std::vector<Picture> const& group, long long until);
    QString NameOf(long long time) const;
    void AddFault(QString const& text, long long time = CheckFault::unknownTime, QString const& file = {});
    void Differ(long long time);
    void JudgeDifferences();
    void ShowProgress(char const* direction, long long time) const;

    static constexpr long long unknown = std::numeric_limits<long long>::min();

    Source const& source;
    CountErrors countErrors;
    CheckWatch watch;
    SoundCheck sound;
    QList<CheckFault> faults;
    std::vector<Picture> pictures;
    std::shared_ptr<DecodedVideoFrame> lastPicture;
    long long firstTime = unknown; // of the first picture, as it came
    long long firstErrorTime = unknown;
    long long unorderedPictures = 0;
    long long differences = 0;
    long long firstDifference = unknown;
};

// Finds missing pictures by their times alone. This works only for a constant rate: if more than a few steps differ
// from the usual one, nothing counts as missing. A gap directly after the first picture does not count either: a
// recording that begins inside a group lacks the pictures that refer to earlier ones.
namespace PictureGaps {

struct Gap
{
    long long start = 0;  // when the first missing picture would have come
    long long length = 0; // until the picture that comes next
};

// `times`: starts of the pictures in rising order, microseconds.
std::vector<Gap> Find(std::vector<long long> const& times);

} // namespace PictureGaps
