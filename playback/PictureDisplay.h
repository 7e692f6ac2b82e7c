#pragma once

#include "playback/PictureCache.h"
#include "playback/PlayState.h"

class PictureFeeder;

// Chooses the picture to show, and counts those shown and those that play has passed over. A value.
class PictureDisplay
{
public:
    // The picture for now; while that is not decoded, the one shown last, or a preview, or the newest one that play has
    // passed. Null before the first.
    PictureCache::Picture Show(PictureFeeder const& pictures, PlayState const& state, long long now);

    long long GetShownCount() const { return shownCount; }
    long long GetDroppedCount() const { return droppedCount; }

private:
    PictureCache::Place Find(PictureFeeder const& pictures, PlayState const& state, long long now) const;

    PictureCache::Place shown;
    long long shownSerial = -1; // PlayState::seekSerial of it
    long long shownCount = 0;
    long long droppedCount = 0;
};
