#pragma once

#include "decode/MediaInstance.h"

#include <QList>

#include <memory>

class MediaSource;
struct DecodedAudioFrame;
struct DecodedVideoFrame;

// Decodes a source from any time to its end, the way every host must: it finishes a drain that a dropped picture broke
// off, follows changes of the picture size, gives the sound of the drain its true times and starts earlier where the
// container lands late.
//
//     SourceReader reader(source);
//     reader.StartAt(time);
//     while (reader.Read(records)) ...
//
// Times are microseconds from the first picture. One thread at a time. Failures are logged by the library.
class SourceReader
{
public:
    struct Records
    {
        QList<std::shared_ptr<DecodedAudioFrame>> sounds;   // times are the container's
        QList<std::shared_ptr<DecodedVideoFrame>> pictures; // marks among them: see DecodedVideoFrame
    };

    explicit SourceReader(MediaSource const& source); // which must outlive it

    // Goes to the very beginning. False when the source cannot be opened for decoding.
    bool StartOver();

    // Goes to a place from which the picture showing at `time` is still to come (without pictures: the sound). False
    // when the source cannot be opened.
    bool StartAt(long long time);

    // Decodes a little more and appends what came out of it, which may be nothing. False at the end.
    bool Read(Records& records);

    MediaInstance const& GetInstance() const { return instance; }

    static bool IsPicture(DecodedVideoFrame const& record); // and no mark

private:
    void SetMissingRate();
    void Seek(long long time);
    bool HasLandedBy(long long time);
    bool IsWithoutKeyPicture(long long time) const;
    void PassOverToKeyPacket();
    void DecodeOne(Records& records);
    void StampDrainedSounds(Records& records, int first);
    void ContinueDrain(Records const& records, int firstPicture);

    MediaSource const& source;
    MediaInstance instance;
    Records ahead;           // read by StartAt and not handed out yet
    long long seekTime = -1; // as the video decoder takes it
    bool passesOver = false; // packets in front of the first key packet since the seek
    bool ended = false;
    int drains = 0;                     // since the end was reached
    long long nextSoundStart = noSound; // of the container, behind the last sound decoded

    static constexpr long long noSound = -1;
};
