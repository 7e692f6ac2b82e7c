#pragma once

#include "playback/PlaybackEngine.h"

#include <memory>

class FollowingTime;

// Plays a second file in step with another engine and without sound: its picture is always the one for the time of the
// picture that the other engine shows, at any speed. Its clock is that time itself. The window's thread.
//
//     comparison.Follow(engine.GetStatus(), shown.get());   // on every beat
//     show(shown, comparison.GetPicture());
class Comparison
{
public:
    // `options`: those of the first engine. Opens the file as PlaybackEngine::Open does.
    Comparison(QString const& path, PlaybackOptions const& options);
    ~Comparison();

    // `first`: of the engine to follow. `shown`: its picture; without one, its position counts.
    void Follow(PlaybackStatus const& first, DecodedVideoFrame const* shown);

    std::shared_ptr<DecodedVideoFrame const> GetPicture() { return engine.GetPicture(); }
    PlaybackStatus GetStatus() { return engine.GetStatus(); }
    bool IsInStep(); // the exact picture for the last time followed is decoded, or known not to exist
    void SetColours(ColourSettings const& colours);

private:
    void FollowStill(PlaybackStatus const& status, long long time);
    void FollowMoving(PlaybackStatus const& status, long long time, double direction);

    std::shared_ptr<FollowingTime> clock;
    PlaybackEngine engine;
    ColourSettings colours;
    long long seekTime = -1; // of the last seek while standing still
};
