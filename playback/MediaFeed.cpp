#include "playback/MediaFeed.h"

#include "common/Microseconds.h"
#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"

#include <algorithm>
#include <utility>

namespace {

// Sound decoded ahead, in microseconds of playing: below the first it comes before pictures while play runs, up to the
// second after them. While paused, when nobody hears it, the third is enough to begin with.
constexpr long long soundUrgent = secondUs / 2;
constexpr long long soundAhead = 2 * secondUs;
constexpr long long soundPaused = secondUs;

} // namespace

std::unique_ptr<MediaFeed> MediaFeed::Open(MediaItem const& item, PlaybackOptions const& options, long long budget,
                                           StopCheck const& stop, QString& error)
{
    auto feed = std::make_unique<MediaFeed>();
    feed->source = Source::Open(item, options);
    Source const& source = feed->source;
    feed->soundStreams = source.GetSoundStreams();
    feed->kind = source.GetKind();
    error = source.GetError();
    if (feed->kind == SourceKind::None)
        return nullptr;
    bool const wantsSound = source.HasSound() && options.withSound && AvGlobals::maxAudioOutputChannels > 0;
    bool const wantsPictures = !source.HasSound() || (options.withPictures && source.HasPictures());
    if (wantsPictures && feed->OpenPictures(budget, stop)) {
        feed->soundPending = wantsSound;
        return feed;
    }
    if (wantsPictures && feed->kind != SourceKind::SoundWithCover)
        error = QStringLiteral("No picture of \"%1\" can be decoded.").arg(item.path);
    if (!source.HasSound())
        return nullptr;
    feed->kind = SourceKind::Sound;
    feed->sound = wantsSound ? feed->OpenSound(options.soundStream, stop) : nullptr;
    if (feed->sound)
        return feed;
    error = (wantsSound ? QStringLiteral("The sound of \"%1\" cannot be decoded.")
                        : QStringLiteral("\"%1\" has no pictures that can be decoded."))
                .arg(item.path);
    return nullptr;
}

MediaFeed::~MediaFeed()
{
    if (sound)
        sound->GetOutput()->Clear();
}

bool MediaFeed::OpenPictures(long long budget, StopCheck const& stop)
{
    auto stream = source.OpenPictures(stop);
    if (!stream)
        return false;
    auto opened =
        std::make_unique<PictureFeeder>(std::move(stream), source.GetFrameStep(), budget, source.GetColours());
    if (!opened->Begin(stop))
        return false;
    PictureCache::Picture const first = opened->Find(0, 0).picture;
    width = source.GetWidth() > 0 ? source.GetWidth() : first->width;
    height = source.GetHeight() > 0 ? source.GetHeight() : first->height;
    pictures = std::move(opened);
    return true;
}

std::unique_ptr<SoundFeeder> MediaFeed::OpenSound(int soundStream, StopCheck const& stop) const
{
    auto stream = source.OpenSound(soundStream);
    if (!stream)
        return nullptr;
    auto opened = std::make_unique<SoundFeeder>(std::move(stream), pictures ? pictures->GetOrigin() : 0);
    return opened->Begin(stop) ? std::move(opened) : nullptr;
}

void MediaFeed::StartNumbers(IndexThreads& threads)
{
    if (!pictures || kind == SourceKind::SoundWithCover)
        return;
    numbers = threads.Start(source);
    if (kind == SourceKind::Movie) // the other kinds are numbered by arithmetic
        pictures->SetNumbers(*numbers);
}

// While the clock runs, the sound that is heard next comes first. While it stands still nobody hears any, and the
// picture to show comes first.
bool MediaFeed::Work(PlayNeed const& asked, AskNeed const& ask)
{
    PlayNeed const need = WithSoundToItsEnd(asked);
    auto const workOnPictures = [&] { return pictures && pictures->Work(need, ask); };
    auto const workOnSound = [&](long long ahead) { return sound && sound->Work(need, ask, ahead); };
    bool const runs = need.speed != 0.0;
    bool const isPictureAwaited = pictures && (need.steps != 0 || !pictures->IsReady(need));
    return (!runs && isPictureAwaited && workOnPictures()) || workOnSound(runs ? soundUrgent : soundPaused) ||
           workOnPictures() || workOnSound(soundAhead);
}

bool MediaFeed::IsReady(PlayNeed const& asked, long long ahead) const
{
    PlayNeed const need = WithSoundToItsEnd(asked);
    bool const hasPicture = !pictures || (need.steps == 0 && pictures->IsReady(need));
    return hasPicture && (!sound || sound->HasSound(need, ahead));
}

// Where the sound ends is known only once it has been decoded to there, at a speed without sound, too: otherwise play
// would never end, and backwards never begin.
PlayNeed MediaFeed::WithSoundToItsEnd(PlayNeed need) const
{
    PlayRange const range = GetRange();
    bool const mayBeAtEnd = need.playing && !range.endKnown && need.position >= range.end;
    need.needsSound = need.needsSound || mayBeAtEnd;
    return need;
}

// Ends with the later one of pictures and sound; as long as either is unknown, as the container says.
PlayRange MediaFeed::GetRange() const
{
    PlayRange range;
    range.startKnown = !soundPending;
    long long const picturesEnd = pictures ? pictures->GetEnd() : 0;
    range.end = std::max(picturesEnd, 0LL);
    range.endKnown = !soundPending && picturesEnd >= 0;
    if (sound) {
        SoundFeeder::Snapshot const now = sound->GetSnapshot();
        bool const isKnown = now.end != SoundFeeder::noLimit;
        range.start = std::min(now.begin - sound->GetOrigin(), 0LL);
        range.end = std::max(range.end, isKnown ? now.end - sound->GetOrigin() : 0);
        range.endKnown = range.endKnown && isKnown;
    }
    if (kind == SourceKind::Still)
        range.end = 0;
    else if (!range.endKnown)
        range.end = std::max(range.end, source.GetDuration());
    return range;
}

void MediaFeed::FillStatus(PlaybackStatus& status, bool forwards) const
{
    PlayRange const range = GetRange();
    status.kind = kind;
    status.start = range.start;
    bool const isTold = range.endKnown || source.GetDuration() > 0;
    status.duration = isTold ? std::max(range.end - range.start, 0LL) : 0;
    status.durationKnown = range.endKnown;
    status.width = width;
    status.height = height;
    if (pictures)
        FillPictures(status);
    if (sound)
        FillSound(status, forwards);
}

void MediaFeed::FillPictures(PlaybackStatus& status) const
{
    status.index = numbers ? numbers->Get() : nullptr;
    status.frameRate = source.GetFrameRate();
    status.frameStep = source.GetFrameStep();
    status.firstNumber = source.GetFirstNumber();
    status.timecode = source.GetStartTimecode().text;
    status.timecodeRate = source.GetStartTimecode().rate;
    status.lowerFieldFirst = source.IsLowerFieldFirst();
    PictureCache::Span const span = pictures->GetSpan();
    status.cacheStart = span.start;
    status.cacheEnd = span.end;
    status.cachedBytes = span.bytes;
    status.cacheBudget = span.budget;
    PictureFeeder::Snapshot const now = pictures->GetSnapshot();
    status.picturesDecoded = now.decodedCount;
    status.decodeRate = now.decodeRate;
    status.colours = now.colourText;
    status.damage = now.damage;
    if (status.error.isEmpty())
        status.error = now.error;
}

void MediaFeed::FillSound(PlaybackStatus& status, bool forwards) const
{
    status.channels = sound->GetOutput()->GetChannelCount();
    status.sampleRate = sound->GetOutput()->GetSampleRate();
    status.soundInfo = source.GetInfo();
    status.origin = sound->GetOrigin();
    status.soundStreams = soundStreams;
    auto const plays = [this](SoundStreamInfo const& stream) { return stream.index == sound->GetStreamIndex(); };
    auto const playing = std::find_if(soundStreams.begin(), soundStreams.end(), plays);
    status.soundStream = static_cast<int>(std::distance(soundStreams.begin(), playing));
    SoundFeeder::Snapshot const now = sound->GetSnapshot();
    SoundFeeder::Cover const& cover = forwards ? now.forwards : now.backwards;
    status.soundStart = std::max(cover.from, now.begin) - sound->GetOrigin();
    status.soundEnd = std::min(cover.to, now.end - 1) - sound->GetOrigin();
}
