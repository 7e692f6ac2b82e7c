#include "tools/SourceReader.h"

#include "common/Settings.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "tools/MediaSource.h"

#include <algorithm>

namespace {

constexpr long long secondUs = 1000000;

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

SourceReader::SourceReader(MediaSource const& newSource) : source(newSource)
{
    instance.SetColours(source.GetColours());
    instance.Initialize(source.GetInfo(), 0);
}

bool SourceReader::IsPicture(DecodedVideoFrame const& record)
{
    return !IsEndMark(record) && !IsSizeMark(record);
}

bool SourceReader::StartOver()
{
    ahead = {};
    seekTime = -1;
    ended = false;
    drains = 0;
    passesOver = false;
    nextSoundStart = noSound;
    instance.CloseInput();
    bool const isOpen = instance.HasPacket();
    SetMissingRate();
    return isOpen;
}

// The library knows no rate where the file states no duration; pictures without times would all be at 0.
void SourceReader::SetMissingRate()
{
    if (source.GetInfo()->GetFrameRate() == 0.0)
        instance.SetDecoderFrameRate(Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE);
}

// Where the first picture comes too late, the container landed behind the target, or the picture showing began so long
// before it that the decoder dropped it. An earlier target mends either; the beginning is the last one.
bool SourceReader::StartAt(long long time)
{
    long long back = instance.RequiresLargeSeekOffset() ? 2 * secondUs : 0;
    while (source.CanSeek() && time - back > 0) {
        Seek(time - back);
        if (HasLandedBy(time))
            return true;
        back = back == 0 ? secondUs : 2 * back;
    }
    return StartOver();
}

// A seek that fails leaves the place as it was, which StartAt then finds to be too late.
void SourceReader::Seek(long long time)
{
    ahead = {};
    seekTime = time;
    ended = false;
    drains = 0;
    passesOver = true;
    nextSoundStart = noSound;
    instance.Seek(time + source.GetInfo()->GetStartTime());
    instance.BeginAtKeyPicture(); // by the codec's word, as containers lie
}

bool SourceReader::HasLandedBy(long long time)
{
    while (!ended && instance.HasPacket() && !IsWithoutKeyPicture(time)) {
        DecodeOne(ahead);
        if (!source.HasPictures() && !ahead.sounds.isEmpty())
            return source.ToMediaTime(ahead.sounds.first()->startTime) <= time;
        auto const picture = std::find_if(ahead.pictures.begin(), ahead.pictures.end(),
                                          [](auto const& record) { return IsPicture(*record); });
        if (picture != ahead.pictures.end())
            return (*picture)->startTime <= time;
    }
    return false;
}

// What the container called a key picture is none to the codec, and the next true one comes too late.
bool SourceReader::IsWithoutKeyPicture(long long time) const
{
    return source.HasPictures() && instance.IsBeforeKeyPicture() && instance.IsVideoPacket() &&
           instance.GetPacketTime() > time + source.GetInfo()->GetStartTime() + secondUs;
}

bool SourceReader::Read(Records& records)
{
    bool const hasAhead = !ahead.sounds.isEmpty() || !ahead.pictures.isEmpty();
    if (hasAhead) {
        records.sounds += ahead.sounds;
        records.pictures += ahead.pictures;
        ahead = {};
        return true;
    }
    if (ended || !instance.HasPacket())
        return false;
    DecodeOne(records);
    return true;
}

// Decoding begins with what the container calls a key packet.
void SourceReader::PassOverToKeyPacket()
{
    while (passesOver && instance.IsVideoPacket() && !instance.IsKeyPacket())
        instance.PrepareNextPacket(false);
    passesOver = passesOver && !instance.IsVideoPacket();
}

void SourceReader::DecodeOne(Records& records)
{
    PassOverToKeyPacket();
    bool const isDrain = instance.IsEndOfFile();
    int const firstSound = static_cast<int>(records.sounds.size());
    int const firstPicture = static_cast<int>(records.pictures.size());
    instance.DecodeOnePacket(records.sounds, records.pictures, seekTime);
    if (records.pictures.size() > firstPicture && IsSizeMark(*records.pictures.last()))
        instance.FollowSizeChange(records.pictures);
    if (isDrain) {
        StampDrainedSounds(records, firstSound);
        ContinueDrain(records, firstPicture);
    }
    if (records.sounds.size() > firstSound)
        nextSoundStart = records.sounds.last()->endTime + 1;
}

// The packet that drains bears no time, so the last sounds would begin at 0.
void SourceReader::StampDrainedSounds(Records& records, int first)
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
void SourceReader::ContinueDrain(Records const& records, int firstPicture)
{
    ended = source.GetInfo()->IsImage() || instance.GetActiveVideoStreamIndex() < 0 || ++drains >= mostDrains;
    for (int i = firstPicture; i < records.pictures.size(); ++i)
        ended = ended || IsEndMark(*records.pictures[i]);
    if (!ended)
        instance.PrepareNextPacket(true);
}
