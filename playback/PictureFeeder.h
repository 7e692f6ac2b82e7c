#pragma once

#include "TavolinPlaybackExport.h"
#include "playback/PictureCache.h"
#include "playback/PlayNeed.h"
#include "source/PictureStream.h"

#include <QString>

#include <atomic>
#include <vector>

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
// Where decoding cannot keep up, it goes on further ahead: what is late by then is not converted, and where a key
// picture lies on the way, not even decoded. Every now and then one picture comes out all the same, late as it is, so
// that something moves.
class TAVOLINPLAYBACK_EXPORT PictureFeeder
{
public:
    using Picture = PictureCache::Picture;

    PictureFeeder(std::unique_ptr<PictureStream> source, long long frameStep, long long budget);
    ~PictureFeeder();

    // Decoding thread. Reads the first picture of all; false when there is none.
    bool Begin(StopCheck const& stop);
    long long GetOrigin() const; // container time of media time 0; decoding thread, after Begin

    // Decoding thread. Does one piece of the most urgent work; false when there is none for `need`. Less budget than
    // before is heeded at once, also in the midst of it.
    bool Work(PlayNeed const& need, AskNeed const& ask);

    // Decoding thread. Lets go of all pictures: those around the position are read anew.
    void SetColours(ColourSettings const& colours);

    // Any thread.
    PictureCache::Place Find(long long position,
                             int offset) const; // positions beyond the pictures mean the first, last
    PictureCache::Place FindNewest(long long position, bool forwards) const; // or what comes before it in play
    bool IsFirst(PictureCache::Place const& place) const;
    bool IsLast(PictureCache::Place const& place) const;
    bool IsReady(PlayNeed const& need) const;   // what is to show now is there, or known not to exist
    Picture GetPreview(long long sought) const; // null when there is none for that seek
    int CountBetween(long long time, long long otherTime) const;
    PictureCache::Span GetSpan() const;
    long long GetEnd() const; // one microsecond after the last picture; -1 when not yet known
    long long GetDecodedCount() const;
    double GetDecodeRate() const;
    QString GetError() const;
    QString DescribeColours() const; // what the last picture was converted from

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
    void HeedBudget(PlayNeed const& need);
    void NotePicture(Picture const& picture);
    void NoteProgress();
    void Measure(long long decodedBefore, double seconds);
    long long PicturesIn(long long bytes) const;
    long long EffectiveBudget() const;
    long long ShownTime(long long position) const;

    std::unique_ptr<PictureStream> const source;
    long long const frameStep; // an estimate, for how far back a segment reaches
    PictureCache cache;

    // The decoding thread's.
    long long budget;
    long long pictureBytes = 0;       // of the largest picture so far
    long long heededPictureBytes = 0; // that the cache reckons with
    bool followsCache = false;        // the next picture of the source comes right behind the last cached one
    bool mayBeStopped = true; // a seek has been completed since one was last stopped: a flood of them shows something
    long long lead = 0;       // media time by which work backwards comes too late, as far as is known
    long long aim = 0;        // pictures that the next segment is to have at least
    std::vector<Picture> released;
    long long measuredPictures = 0;
    double measuredSeconds = 0.0;

    mutable std::mutex mutex; // of the following
    Picture preview;
    long long previewFor = -1; // PlayNeed::sought of it
    QString error;
    QString colours;

    std::atomic<long long> failedFor = -1; // PlayNeed::sought of a place where nothing could be read
    std::atomic<long long> end = -1;
    std::atomic<long long> first = 0; // start of the first picture
    std::atomic<long long> decodedCount = 0;
    std::atomic<double> decodeRate = 0.0;
};
