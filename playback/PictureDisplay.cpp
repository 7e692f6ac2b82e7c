#include "playback/PictureDisplay.h"

#include "decode/DecodedVideoFrame.h"
#include "playback/PictureFeeder.h"

PictureCache::Picture PictureDisplay::Show(PictureFeeder const& pictures, PlayState const& state, long long now)
{
    PictureCache::Place place = Find(pictures, state, now);
    if (!place.picture && (place.picture = pictures.GetPreview(state.seekSerial)))
        place.start = place.end = place.picture->startTime;
    if (!place.picture || place.picture == shown.picture)
        return shown.picture;
    if (shown.picture && shownSerial == state.seekSerial && state.speed != 0.0)
        droppedCount += pictures.CountBetween(shown, place);
    ++shownCount;
    shown = place;
    shownSerial = state.seekSerial;
    return shown.picture;
}

// While play goes on and decoding is behind, the newest picture that play has passed.
PictureCache::Place PictureDisplay::Find(PictureFeeder const& pictures, PlayState const& state, long long now) const
{
    long long const position = state.GetPosition(now);
    PictureCache::Place const exact = pictures.Find(position, 0); // also before the first and after the last
    if (state.speed == 0.0 || state.waiting || exact.picture)
        return exact;
    PictureCache::Place const place = pictures.FindNewest(position, state.forwards);
    bool const isOfThisRun = state.forwards ? place.end >= state.begunAt : place.start <= state.begunAt;
    bool const isOlder = shown.picture && shownSerial == state.seekSerial &&
                         (state.forwards ? place.start < shown.start : place.start > shown.start);
    return isOfThisRun && !isOlder ? place : PictureCache::Place();
}
