#pragma once

#include "TavolinWidgetsExport.h"
#include "player/controls/KeyMap.h"

#include <optional>

class PlaybackEngine;
struct PlaybackStatus;

// Translates keys and controls into calls of the engine: speeds, steps, jumps, the range, the volume. Stores only the
// user's choices. One thread at a time.
class TAVOLINWIDGETS_EXPORT Transport
{
public:
    explicit Transport(PlaybackEngine& engine); // which must outlive it

    bool Perform(PlayerAction action); // false for an action that the window performs

    void Reset();                                   // for a new file: no range, paused until Play
    void Play();                                    // restarts at the other end if play has reached one
    void SetSpeed(double speed);                    // not 0; takes effect immediately while playing
    double GetSpeed() const { return chosenSpeed; } // the speed that Play uses

    void SetVolume(double volume); // 0 to 1
    double GetVolume() const;      // the engine's
    void SetMuted(bool muted);     // keeps the volume
    bool IsMuted() const;          // the engine's

    void SetLooping(bool looping);             // over the range, or over everything without one
    bool IsLooping() const { return looping; } // as set
    void SetRange(std::optional<long long> newIn, std::optional<long long> newOut); // in before out
    std::optional<long long> GetIn() const { return in; }   // microseconds, the first picture of the range
    std::optional<long long> GetOut() const { return out; } // the first moment after the range

    // The speed after a shuttle key: doubled in the direction of the key, halved against it. At normal speed or below,
    // the opposite key pauses before it reverses.
    static double Shuttled(double speed, bool forwards);

private:
    bool PerformSpeed(PlayerAction action);
    bool PerformMove(PlayerAction action);
    bool PerformRange(PlayerAction action);
    bool PerformSound(PlayerAction action);
    void Shuttle(bool forwards);
    void Jump(long long distance, bool stepsWhilePaused);
    void MarkIn();
    void MarkOut();
    void ApplyLoop();

    PlaybackEngine& engine;
    double chosenSpeed = 1.0;
    bool looping = false;
    std::optional<long long> in;
    std::optional<long long> out;
};
