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
    landing = Landing::Trusted;
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
    landing = Landing::Skipping;
    nextSoundStart = noSound;
    instance.Seek(time + source.GetInfo()->GetStartTime());
}

bool SourceReader::HasLandedBy(long long time)
{
    while (!ended && landing != Landing::Doubtful && instance.HasPacket()) {
        DecodeOne(ahead);
        if (!source.HasPictures() && !ahead.sounds.isEmpty())
            return source.ToMediaTime(ahead.sounds.first()->startTime) <= time;
        auto const picture = std::find_if(ahead.pictures.begin(), ahead.pictures.end(),
                                          [](auto const& record) { return IsPicture(*record); });
        if (picture != ahead.pictures.end() && (*picture)->startTime > time)
            return false;
        if (picture != ahead.pictures.end() && landing == Landing::Trusted)
            return true;
    }
    return false;
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

// Some decoders make pictures from nothing when they begin between key frames. So the packets up to the first key
// packet are passed over; and as old phones flag every packet of such a codec, it must be the only one in a row.
void SourceReader::JudgeLanding()
{
    while (landing == Landing::Skipping && instance.IsVideoPacket()) {
        if (instance.IsKeyPacket()) {
            landing = source.StartsCleanly() ? Landing::Trusted : Landing::OnKey;
            return;
        }
        instance.PrepareNextPacket(false);
    }
    if (landing == Landing::OnKey && instance.IsVideoPacket())
        landing = instance.IsKeyPacket() ? Landing::Doubtful : Landing::Trusted;
}

void SourceReader::DecodeOne(Records& records)
{
    JudgeLanding();
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
