#pragma once

#include "player/PlayerAction.h"

#include <optional>

class PlaybackEngine;
struct PlaybackStatus;

// What the keys and controls mean to the engine: speeds, steps, jumps, the range, the volume. Holds only what the
// person at the keys has chosen. One thread at a time.
class Transport
{
public:
    explicit Transport(PlaybackEngine& engine); // which must outlive it

    bool Perform(PlayerAction action); // false for an action of the window's

    void Begin(); // a new file is being opened: no range, play at the chosen speed
    void BeginPaused();
    void Play();                 // from the other end when play has come to one
    void SetSpeed(double speed); // chosen, and played at when playing; not 0
    double GetSpeed() const;     // that Play plays at

    void SetVolume(double volume); // 0 to 1
    double GetVolume() const;
    void SetMuted(bool muted);
    bool IsMuted() const;

    void SetLooping(bool looping);
    bool IsLooping() const;
    std::optional<long long> GetIn() const;  // microseconds, the first picture of the range
    std::optional<long long> GetOut() const; // the first moment behind it

    // What a shuttle key makes of a speed: away from pause it doubles it, towards pause it halves it, and at normal
    // speed or below it pauses before it turns round.
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
