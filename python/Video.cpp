#include "python/Video.h"

#include "common/Microseconds.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "source/MediaItems.h"
#include "source/SoundStream.h"
#include "source/Source.h"

#include <QFileInfo>

extern "C" {
#include <libavutil/cpu.h>
}

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

constexpr long long latest = std::numeric_limits<long long>::max() / 4;

// Of silence in front of the first sample; no file is expected to mean a longer one.
constexpr long long longestSilence = 600 * secondUs;

// One more than FFmpeg would choose: with reference pictures alone on the way to a target, its threads often wait for
// each other. Measured on two processors: a sixth less time at random, a twentieth in order.
int MovieThreads()
{
    return av_cpu_count() > 1 ? std::min(av_cpu_count() + 2, 16) : 0;
}

SourceOptions OptionsOf(Video::Options const& asked)
{
    SourceOptions options;
    options.sequenceRate = asked.sequenceRate;
    options.sequenceHoles = asked.holes == "refuse"  ? SequenceHoles::Refuse
                            : asked.holes == "black" ? SequenceHoles::Black
                                                     : SequenceHoles::Hold;
    options.colours = asked.colours;
    options.movieThreads = MovieThreads();
    return options;
}

std::string NameOf(SourceKind kind)
{
    switch (kind) {
    case SourceKind::Movie:
        return "movie";
    case SourceKind::Sound:
        return "sound";
    case SourceKind::SoundWithCover:
        return "sound with cover art";
    case SourceKind::Still:
        return "still image";
    case SourceKind::Sequence:
        return "sequence";
    case SourceKind::None:
        break;
    }
    return {};
}

QString Seconds(long long time)
{
    return QString::number(static_cast<double>(time) / secondUs, 'f', 6);
}

// Samples between the container's 0 and `time`.
long long SamplesUntil(long long time, int rate)
{
    return std::llround(static_cast<double>(time) * rate / secondUs);
}

// Every sample of the result is the one that sounds at its place when play goes on from the first or the last.
std::vector<short> AtSpeed(std::vector<short> const& samples, int channels, double speed)
{
    auto const width = static_cast<size_t>(channels);
    size_t const count = samples.size() / width;
    auto const resultCount = static_cast<size_t>(std::llround(static_cast<double>(count) / std::fabs(speed)));
    std::vector<short> result(count > 0 ? resultCount * width : 0);
    for (size_t i = 0; i * width < result.size(); ++i) {
        size_t const place = std::min(static_cast<size_t>(static_cast<double>(i) * std::fabs(speed)), count - 1);
        size_t const from = speed < 0.0 ? count - 1 - place : place;
        std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(from * width), width,
                    result.begin() + static_cast<std::ptrdiff_t>(i * width));
    }
    return result;
}

} // namespace

Source Video::OpenSource(QString const& path, bool isSequence, SourceOptions const& options)
{
    if (isSequence)
        return Source::Open(MediaItem{path, true}, options);
    auto const rows = QFileInfo(path).isFile() ? MediaItems::Rows::Stills : MediaItems::Rows::Sequences;
    QString error;
    auto const item = MediaItems::OnlyOne(path, MediaItems::Half::Pictures, rows, error);
    if (!item)
        throw OpenError((path + QStringLiteral(": ") + error).toStdString());
    Source source = Source::Open(*item, options);
    if (source.GetKind() == SourceKind::None && QFileInfo(item->path).isDir())
        throw OpenError((path + QStringLiteral(": there are no media files in this folder")).toStdString());
    return source;
}

Video::Video(QString const& path, Options const& options, StopCheck const& stop) : process(getpid())
{
    description.path = path;
    SourceOptions const sourceOptions = OptionsOf(options);
    Source const source = OpenSource(path, options.isSequence, sourceOptions);
    if (stop())
        throw PictureSpan::Interrupted();
    if (source.GetKind() == SourceKind::None)
        throw OpenError(Sentence(source.GetError()));
    description.kind = NameOf(source.GetKind());
    description.frameRate = source.GetFrameRate();
    expectedDuration = source.GetDuration();
    OpenSound(source);
    OpenPictures(source, options.cacheBytes, stop);
}

void Video::OpenSound(Source const& source)
{
    sound = source.OpenSound();
    if (!sound)
        return;
    description.hasSound = true;
    description.channels = sound->GetChannelCount();
    description.sampleRate = sound->GetSampleRate();
}

// With the first one, by which it is known that they can be decoded.
void Video::OpenPictures(Source const& source, long long cacheBytes, StopCheck const& stop)
{
    auto stream = source.OpenPictures(stop);
    if (stream)
        pictures = std::make_unique<PictureSpan>(std::move(stream), source.GetFrameStep(), cacheBytes);
    Picture const first = pictures ? pictures->At(0, stop) : nullptr;
    if (first) {
        description.hasPictures = true;
        description.width = first->width;
        description.height = first->height;
        description.rotation = first->rotation;
    } else if (!sound) {
        QString const error = pictures ? pictures->GetError() : source.GetError();
        throw OpenError(Sentence(error.isEmpty() ? QStringLiteral("no picture could be decoded") : error));
    }
}

// The codecs wait for their threads to end, which never ran in a process that was forked off.
Video::~Video()
{
    if (!IsForked())
        return;
    static_cast<void>(pictures.release());
    static_cast<void>(sound.release());
}

bool Video::IsForked() const
{
    return getpid() != process;
}

std::unique_lock<std::mutex> Video::Lock() const
{
    if (IsForked()) // somebody may have held the lock then, and nobody will ever release it
        throw Forked();
    return std::unique_lock(mutex);
}

void Video::Close()
{
    if (IsForked())
        return;
    std::lock_guard const lock(mutex);
    isClosed = true;
    pictures.reset();
    sound.reset();
}

PictureSpan& Video::OpenedPictures() const
{
    if (isClosed)
        throw Closed();
    if (!description.hasPictures)
        throw DecodeError(Sentence(QStringLiteral("there are no pictures in it")));
    return *pictures;
}

SoundStream& Video::OpenedSound() const
{
    if (isClosed)
        throw Closed();
    if (!sound)
        throw DecodeError(Sentence(QStringLiteral("there is no sound in it")));
    return *sound;
}

bool Video::IsOnePicture() const
{
    return description.kind == "still image" || description.kind == "sound with cover art";
}

long long Video::GetDuration() const
{
    if (description.kind == "still image")
        return 0;
    auto const lock = Lock();
    long long const known = pictures && !IsOnePicture() ? pictures->GetEnd() : -1;
    return std::max(known, expectedDuration);
}

Video::Picture Video::At(long long time, StopCheck const& stop)
{
    Picture picture = FindAt(time, stop);
    if (!picture)
        throw OutOfRange(Sentence(QStringLiteral("%1 s is outside of %2").arg(Seconds(time), RangeText())));
    return picture;
}

Video::Picture Video::FindAt(long long time, StopCheck const& stop)
{
    auto const lock = Lock();
    OpenedPictures();
    if (time < 0)
        return nullptr;
    Picture const picture = Find(time, stop);
    return time > picture->endTime && IsPastEnd(time) ? nullptr : picture;
}

Video::Picture Video::FindLast(StopCheck const& stop)
{
    auto const lock = Lock();
    return Find(latest, stop);
}

Video::Picture Video::Find(long long time, StopCheck const& stop)
{
    Picture picture = OpenedPictures().At(time, stop);
    if (picture)
        return picture;
    QString const error = OpenedPictures().GetError();
    throw DecodeError(
        Sentence(error.isEmpty() ? QStringLiteral("the picture at %1 s cannot be decoded").arg(Seconds(time)) : error));
}

// Of a time after the last picture.
bool Video::IsPastEnd(long long time) const
{
    return !IsOnePicture() && time >= expectedDuration;
}

QString Video::RangeText() const
{
    long long const duration = GetDuration();
    return duration < 0 ? QStringLiteral("the pictures, which begin at 0 s")
                        : QStringLiteral("the pictures, which show from 0 s to %1 s").arg(Seconds(duration));
}

Video::Picture Video::Step(DecodedVideoFrame const& picture, long long count, StopCheck const& stop)
{
    Picture next;
    for (long long i = 0; i < std::llabs(count); ++i) {
        next = FindNeighbour(next ? *next : picture, count > 0, stop);
        if (!next)
            throw OutOfRange(Sentence(QStringLiteral("there is no picture %1 steps from the one at %2 s, among %3")
                                          .arg(QString::number(count), Seconds(picture.startTime), RangeText())));
    }
    return next;
}

Video::Picture Video::FindNeighbour(DecodedVideoFrame const& picture, bool isLater, StopCheck const& stop)
{
    auto const lock = Lock();
    PictureSpan& span = OpenedPictures();
    return isLater ? span.After(picture, stop) : span.Before(picture, stop);
}

Video::Sound Video::ReadSound(long long from, long long to, double speed, StopCheck const& stop)
{
    auto const lock = Lock();
    SoundStream& stream = OpenedSound();
    int const rate = stream.GetSampleRate();
    Sound result;
    result.channels = stream.GetChannelCount();
    auto const width = static_cast<size_t>(result.channels);
    long long const origin = description.hasPictures && !IsOnePicture() ? pictures->GetOrigin() : 0;
    long long const begin = std::clamp(from, -origin, latest) + origin; // the container's time, as the reader's
    long long const end = std::clamp(to, -origin, latest) + origin;
    auto const wanted = static_cast<size_t>(std::max(SamplesUntil(end, rate) - SamplesUntil(begin, rate), 0LL));

    std::vector<short>& samples = result.samples;
    SoundStream::Frame frame;
    ReadResult found = wanted > 0 ? stream.ReadAt(begin, frame, stop) : ReadResult::End;
    while (found == ReadResult::Got && (!samples.empty() || frame->startTime < end)) {
        long long const ahead = samples.empty() ? Distance(begin, *frame, rate) : 0;
        if (ahead > 0)
            samples.resize(static_cast<size_t>(ahead) * width); // silence
        long long const skipped = std::max(-ahead, 0LL);
        long long const count = std::min(frame->frameCount, frame->sampleCapacity / result.channels);
        if (skipped < count)
            samples.insert(samples.end(), frame->samples + skipped * result.channels,
                           frame->samples + count * result.channels);
        if (samples.size() / width >= wanted)
            break;
        found = stream.Read(frame, stop);
    }
    if (found == ReadResult::Stopped)
        throw PictureSpan::Interrupted();
    samples.resize(std::min(samples.size(), wanted * width));
    if (speed != 1.0)
        samples = AtSpeed(samples, result.channels, speed);
    return result;
}

// How many samples later than `time` the frame begins; below 0 when it begins earlier.
long long Video::Distance(long long time, DecodedAudioFrame const& frame, int rate) const
{
    long long const distance = frame.startTime - time;
    if (distance > longestSilence)
        throw DecodeError(
            Sentence(QStringLiteral("the sound begins only %1 s after the time asked for").arg(Seconds(distance))));
    return SamplesUntil(frame.startTime, rate) - SamplesUntil(time, rate);
}

std::string Video::Sentence(QString const& text) const
{
    QString const path = description.path;
    return (text.contains(path) ? text : path + QStringLiteral(": ") + text).toStdString();
}
