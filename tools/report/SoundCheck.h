#pragma once

#include "source/ReadResult.h"

#include <QList>
#include <QString>

#include <functional>
#include <limits>
#include <memory>

class Source;
class SoundStream;
struct DecodedAudioFrame;

// Something that is wrong with a source.
struct CheckFault
{
    QString text;                 // part of a sentence
    long long time = unknownTime; // of the first place, microseconds of media time
    QString file = {};            // of an image sequence, the one that is at fault; empty for others

    static constexpr long long unknownTime = -1;
};

// Who looks on while a source is checked; called on the thread that checks.
struct CheckWatch
{
    StopCheck stop = neverStop;                                                 // true ends the check early
    std::function<void(QString const& text)> showProgress = [](auto const&) {}; // how far it has come
};

// What is wrong with the sound of a source: takes it as it comes forwards, and then finds it again from the end to the
// beginning, stretch by stretch, as playing backwards does. Times are the container's, microseconds. One thread.
class SoundCheck
{
public:
    explicit SoundCheck(Source const& source); // which must outlive it

    // The frames of one packet. Some containers give times to packets that overlap what the packet before has brought.
    void TakePacket(QList<std::shared_ptr<DecodedAudioFrame>> const& frames);
    void ReadBackwards(CheckWatch const& watch = {});

    QList<CheckFault> GetFaults() const;
    long long GetDuration() const; // of all that was taken
    bool HasAny() const { return end != unknown; }
    long long GetEnd() const { return end; } // when HasAny

private:
    bool HasLostSound() const;
    bool IsFoundBackwards(SoundStream& stream, long long from, long long to, StopCheck const& stop) const;

    static constexpr long long unknown = std::numeric_limits<long long>::min();

    Source const& source;
    long long firstStart = unknown;
    long long packetStart = unknown; // of the latest packet
    long long end = unknown;         // of the latest sound
    double seconds = 0.0;
    long long packets = 0;
    long long unordered = 0; // of the packets
    long long holes = 0;
    long long firstHole = unknown;
    long long missingBackwards = unknown; // where the last stretch begins that was not found; unknown: none
};
