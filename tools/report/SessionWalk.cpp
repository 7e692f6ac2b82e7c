#include "tools/report/SessionWalk.h"

#include "common/Microseconds.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "source/Source.h"

#include <algorithm>

namespace {

// Each one takes at least a picture out of the decoder, and no decoder holds nearly as many.
constexpr int mostDrains = 1000;

bool IsEndMark(DecodedVideoFrame const& record)
{
    return !record.data;
}

bool IsSizeMark(DecodedVideoFrame const& record)
{
    return record.data && record.status == 1;
}

long long DurationOf(DecodedAudioFrame const& sound)
{
    if (sound.sampleRate <= 0)
        return 0;
    return static_cast<long long>(static_cast<double>(sound.frameCount) / sound.sampleRate * secondUs);
}

} // namespace

SessionWalk::SessionWalk(Source const& newSource) : source(newSource)
{
    instance.SetColours(source.GetColours());
    instance.SetAudioStream(source.GetSoundStreams().value(source.GetSoundStream()).index);
    instance.Initialize(source.GetInfo(), 0);
}

bool SessionWalk::IsPicture(DecodedVideoFrame const& record)
{
    return !IsEndMark(record) && !IsSizeMark(record);
}

// The library knows no rate where the file states no duration; pictures without times would all be at 0.
bool SessionWalk::Start()
{
    ended = false;
    drains = 0;
    nextSoundStart = noSound;
    instance.CloseInput();
    bool const isOpen = instance.HasPacket();
    if (source.GetInfo()->GetFrameRate() == 0.0)
        instance.SetDecoderFrameRate(source.GetUntimedRate());
    return isOpen;
}

bool SessionWalk::Read(Records& records)
{
    if (ended || !instance.HasPacket())
        return false;
    bool const isDrain = instance.IsEndOfFile();
    int const firstSound = static_cast<int>(records.sounds.size());
    int const firstPicture = static_cast<int>(records.pictures.size());
    instance.DecodeOnePacket(records.sounds, records.pictures, -1);
    if (records.pictures.size() > firstPicture && IsSizeMark(*records.pictures.last()))
        instance.FollowSizeChange(records.pictures);
    if (isDrain) {
        StampDrainedSounds(records, firstSound);
        ContinueDrain(records, firstPicture);
    }
    if (records.sounds.size() > firstSound)
        nextSoundStart = records.sounds.last()->endTime + 1;
    return true;
}

// The packet that drains bears no time, so the last sounds would begin at 0.
void SessionWalk::StampDrainedSounds(Records& records, int first)
{
    if (nextSoundStart == noSound)
        return;
    for (int i = first; i < records.sounds.size(); ++i) {
        DecodedAudioFrame& sound = *records.sounds[i];
        sound.startTime = nextSoundStart;
        sound.endTime = nextSoundStart + DurationOf(sound) - 1;
        nextSoundStart = sound.endTime + 1;
    }
}

// A dropped picture or a change of size ends a drain before the decoder is empty; the mark of the end tells when it is.
void SessionWalk::ContinueDrain(Records const& records, int firstPicture)
{
    ended = source.GetInfo()->IsImage() || instance.GetActiveVideoStreamIndex() < 0 || ++drains >= mostDrains;
    for (int i = firstPicture; i < records.pictures.size(); ++i)
        ended = ended || IsEndMark(*records.pictures[i]);
    if (!ended)
        instance.PrepareNextPacket(true);
}
