#pragma once

#include "decode/MediaInstance.h"

#include <QList>

#include <memory>

class Source;
struct DecodedAudioFrame;
struct DecodedVideoFrame;

// Decodes a source from its beginning to its end and hands out what the library delivers as it comes, the way every
// host must: it finishes a drain that a dropped picture broke off, follows changes of the picture size, and gives the
// sound of the drain its true times. For reports about exactly that; the source's streams give pictures and sound in
// order.
//
//     SessionWalk walk(source);
//     if (walk.Start())
//         while (walk.Read(records)) ...
//
// Times are microseconds from the first picture. One thread at a time. Failures are logged by the library.
class SessionWalk
{
public:
    struct Records
    {
        QList<std::shared_ptr<DecodedAudioFrame>> sounds;   // times are the container's
        QList<std::shared_ptr<DecodedVideoFrame>> pictures; // marks among them: see DecodedVideoFrame
    };

    explicit SessionWalk(Source const& source); // which must outlive it

    bool Start(); // at the beginning; false when the source cannot be opened for decoding

    // Decodes a little more and appends what came out of it, which may be nothing. False at the end.
    bool Read(Records& records);

    static bool IsPicture(DecodedVideoFrame const& record); // and no mark

private:
    void StampDrainedSounds(Records& records, int first);
    void ContinueDrain(Records const& records, int firstPicture);

    Source const& source;
    MediaInstance instance;
    bool ended = false;
    int drains = 0;                     // since the end was reached
    long long nextSoundStart = noSound; // of the container, behind the last sound decoded

    static constexpr long long noSound = -1;
};
