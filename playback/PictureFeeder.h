#pragma once

#include "playback/PictureCache.h"
#include "playback/PlayNeed.h"
#include "source/PictureStream.h"

#include <QString>

#include <mutex>
#include <vector>

class PictureNumbers;

// Keeps the picture cache filled from a picture source: forwards picture by picture, backwards in segments, as the play
// position and the byte budget want it.
//
//     ... |----- segment -----|######## cached ########| ...            backwards: decoded forwards into a list from a
//         ^ from its key picture        ^ position                      key picture on, then appended last to first
//
// A segment takes up to half of the budget, whole groups where they fit; of a longer group, only the part that fits is
// kept, and the next segment decodes the group again for the part before. It is begun as soon as play has left room for
// it, well before it is needed.
//
// When decoding cannot keep up, it skips ahead: late pictures are not converted, and those before the next key picture
// not even decoded. From time to time a late picture is shown nevertheless, so that the display does not freeze.
class PictureFeeder
{
public:
    using Picture = PictureCache::Picture;

    // What the feeder has come to, as of the end of its last piece of work.
    struct Snapshot
    {
        long long first = 0;          // start of the first picture of all
        long long end = -1;           // one microsecond after the last picture; -1: not yet known
        Picture preview;              // null when there is none
        long long previewSerial = -1; // PlayNeed::seekSerial of the preview
        long long failedSerial = -1;  // PlayNeed::seekSerial of a place where nothing could be read
        ColourSettings colours;       // of the pictures
        QString colourText;           // what the last picture was converted from
        long long decodedCount = 0;   // pictures
        double decodeRate = 0.0;      // pictures per second
        QVector<long long> damage;    // see PictureStream::GetDamage
        QString error;                // what could not be read last, one sentence; empty when there was nothing
    };

    // `frameStep`: microseconds from picture to picture, an estimate. `colours`: those of the source.
    PictureFeeder(std::unique_ptr<PictureStream> source, long long frameStep, long long budget,
                  ColourSettings const& colours = {});
    ~PictureFeeder();

    // Decoding thread. Reads the first picture of all; false when there is none.
    bool Begin(StopCheck const& stop);

    // Decoding thread, right after Begin: where each picture is noted, which must outlive this.
    void SetNumbers(PictureNumbers& newNumbers);

    // Decoding thread, after Begin: container time of media time 0.
    long long GetOrigin() const { return source->GetOrigin(); }

    // Decoding thread. Does one piece of the most urgent work; false when there is none for `need`. Less budget than
    // before is heeded at once, also in the midst of it; other colours before it.
    bool Work(PlayNeed const& need, AskNeed const& ask);

    // Any thread.
    PictureCache::Place Find(long long position, int offset) const;          // beyond the pictures: the first, the last
    PictureCache::Place FindNewest(long long position, bool forwards) const; // or what comes before it in play
    bool IsFirst(PictureCache::Place const& place) const;
    bool IsLast(PictureCache::Place const& place) const;
    bool IsReady(PlayNeed const& need) const;       // what is to show now is there, or known not to exist
    Picture GetPreview(long long seekSerial) const; // null when there is none for that seek
    // Pictures between two; an estimate when some of them have not been decoded or are gone.
    long long CountBetween(PictureCache::Place const& one, PictureCache::Place const& other) const;
    PictureCache::Span GetSpan() const { return cache.GetSpan(); }
    long long GetEnd() const; // of the snapshot
    Snapshot GetSnapshot() const;

private:
    bool DoWork(PlayNeed const& need, AskNeed const& ask);
    bool WorkAround(PictureCache::Place const& current, PlayNeed const& need, AskNeed const& ask);
    bool Reach(PlayNeed const& need, AskNeed const& ask);
    bool CatchUpForwards(long long time, PlayNeed const& need, AskNeed const& ask);
    bool CatchUpBackwards(long long time, PlayNeed const& need, AskNeed const& ask);
    bool ShowPreview(PlayNeed const& need, AskNeed const& ask);
    bool SeekTo(long long time, long long earliest, PlayNeed const& need, AskNeed const& ask);
    void NoteLead(PlayNeed const& before, PlayNeed const& now);
    bool ReadForwards(PlayNeed const& need, AskNeed const& ask);
    bool FillBackwards(PlayNeed const& need, AskNeed const& ask);
    long long LengthBackwards(long long most, long long step) const;
    bool ReadSegment(Picture picture, long long until, PlayNeed const& need, StopCheck const& stop);
    void AppendSegment(AskNeed const& ask);
    long long RoomBackwards(PlayNeed const& need);
    static bool GivesWayBehind(PlayNeed const& need);
    bool MakeRoomBehind(PlayNeed const& need);
    bool MakeRoomBefore(long long bytes, PlayNeed const& need);
    StopCheck StopForOthers(PlayNeed const& need, AskNeed const& ask);
    PictureCache::Window WindowFor(PlayNeed const& need) const;
    void HeedColours(PlayNeed const& need);
    void HeedBudget(PlayNeed const& need);
    void NotePicture(Picture const& picture);
    void Publish();
    void Measure(long long decodedBefore, double seconds);
    long long PicturesIn(long long bytes) const;
    long long EffectiveBudget() const;
    long long ShownTime(long long position) const;

    std::unique_ptr<PictureStream> const source;
    long long const frameStep; // an estimate, for how far back a segment reaches
    PictureCache cache;

    // The decoding thread's.
    PictureNumbers* numbers = nullptr; // null: nobody notes pictures
    long long budget;
    long long pictureBytes = 0;       // of the largest picture so far
    long long heededPictureBytes = 0; // that the cache reckons with
    bool followsCache = false;        // the next picture of the source comes right behind the last cached one
    bool mayBeStopped = true; // a seek has completed since one was last stopped: a flood of seeks still shows pictures
    long long lead = 0;       // media time by which work backwards came too late recently
    long long aim = 0;        // pictures that the next segment is to have at least
    std::vector<Picture> released;
    long long measuredPictures = 0;
    double measuredSeconds = 0.0;
    Snapshot own; // published when a piece of work is done

    mutable std::mutex mutex;
    Snapshot published;
};
