#include "source/SequencePictures.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "decode/RowBytes.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "source/ImageFormat.h"
#include "source/ImageOrientation.h"
#include "source/PictureIndex.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr int mostThreads = 256;

size_t ThreadsFor(SourceOptions const& options)
{
    int const cores = static_cast<int>(std::thread::hardware_concurrency());
    return static_cast<size_t>(
        std::clamp(options.sequenceThreads > 0 ? options.sequenceThreads : cores, 1, mostThreads));
}

} // namespace

// Decodes the files, and keeps what was found out about one of them. Any number of threads.
class SequencePictures::Describer
{
    using Info = std::shared_ptr<MediaInfo>;

public:
    explicit Describer(Info newDescribed) : described(std::move(newDescribed)) {}

    // Null for a file that cannot be decoded.
    Picture Decode(QString const& path, bool isLinear, ColourSettings const& colours)
    {
        Picture picture = DecodeAsStored(path, isLinear, colours);
        if (picture)
            ImageOrientation::Of(path).ApplyTo(*picture);
        return picture;
    }

    QString GetColours() const
    {
        std::lock_guard const lock(mutex);
        return lastColours;
    }

private:
    Picture DecodeAsStored(QString const& path, bool isLinear, ColourSettings const& colours)
    {
        auto const info = MakeInfo(path);
        auto const like = GetDescribed();
        if (like && MediaReader::TakeDescription(info, *like)) {
            info->isLinearColorSpace = like->isLinearColorSpace;
            if (Picture picture = DecodeImage(info, colours))
                return picture;
        }
        auto const own = MakeInfo(path);
        if (!MediaReader::ParseMedia(own))
            return nullptr;
        own->isLinearColorSpace = isLinear || IsLinearFormat(own->GetVideoStreams().value(0).codecName);
        Picture picture = DecodeImage(own, colours);
        if (picture)
            SetDescribed(own);
        return picture;
    }

    static Info MakeInfo(QString const& path)
    {
        auto info = std::make_shared<MediaInfo>(path);
        info->isImage = true;
        return info;
    }

    // Null also for a picture of another size than the one described: its record is a mark then.
    Picture DecodeImage(Info const& info, ColourSettings const& colours)
    {
        MediaInstance instance;
        instance.SetColours(colours);
        instance.SetMostThreads(1); // the other processors have files of their own
        if (!instance.Initialize(info, 0) || !instance.HasPacket())
            return nullptr;
        QList<std::shared_ptr<DecodedAudioFrame>> sounds;
        QList<Picture> pictures;
        instance.DecodePacket(sounds, pictures, -1);
        bool const isPicture = !pictures.isEmpty() && pictures.first()->data && pictures.first()->status == 0;
        std::lock_guard const lock(mutex);
        lastColours = instance.DescribeColours();
        return isPicture ? pictures.first() : nullptr;
    }

    Info GetDescribed() const
    {
        std::lock_guard const lock(mutex);
        return described;
    }

    void SetDescribed(Info const& info)
    {
        std::lock_guard const lock(mutex);
        described = info;
    }

    mutable std::mutex mutex;
    Info described;
    QString lastColours;
};

SequencePictures::SequencePictures(ImageSequence newSequence, SourceOptions const& options,
                                   std::shared_ptr<MediaInfo> const& described)
    : sequence(std::move(newSequence)),
      rate(RateFor(options)),
      holes(options.sequenceHoles),
      threads(ThreadsFor(options)),
      isLinear(options.isLinearColorSpace),
      colours(options.colours),
      describer(std::make_shared<Describer>(described))
{}

SequencePictures::~SequencePictures() = default;

double SequencePictures::RateFor(SourceOptions const& options)
{
    bool const isInRange = options.sequenceRate >= Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE &&
                           options.sequenceRate <= Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE;
    return isInRange ? options.sequenceRate : Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE;
}

long long SequencePictures::TimeOf(long long index, double rate)
{
    return PictureIndex::StartAtRate(index, rate);
}

// Of the number showing at `time`, whether it has a file or not.
long long SequencePictures::IndexAt(long long time) const
{
    return PictureIndex(sequence.GetCount(), rate).NumberAt(time);
}

long long SequencePictures::IndexAfter(long long index) const
{
    return holes == SequenceHoles::Black ? index + 1 : sequence.GetIndexAfter(index);
}

void SequencePictures::SetColours(ColourSettings const& newColours)
{
    colours = newColours;
    underWay.clear();
    newest.reset();
}

QString SequencePictures::DescribeColours() const
{
    return describer->GetColours();
}

ReadResult SequencePictures::ReadNear(long long time, long long, Picture& picture, StopCheck const& stop)
{
    long long index = IndexAt(std::clamp(time, 0LL, GetEnd() - 1)); // nothing needs an earlier one
    // A file that cannot be read shows the picture before it, which then is the one to begin with.
    while (true) {
        if (holes != SequenceHoles::Black)
            index = sequence.GetIndexUpTo(index);
        GoTo(index);
        newest = TakeNext();
        if ((newest && newest->startTime <= std::max(time, 0LL)) || index == 0)
            break;
        if (stop())
            return ReadResult::Stopped;
        --index;
    }
    return newest ? TakeNewest(picture) : ReadResult::End;
}

ReadResult SequencePictures::Read(Picture& picture, StopCheck const& stop)
{
    if (stop())
        return ReadResult::Stopped;
    if (!newest)
        newest = TakeNext();
    return newest ? TakeNewest(picture) : ReadResult::End;
}

// With its end, which is the start of the next one.
ReadResult SequencePictures::TakeNewest(Picture& picture)
{
    picture = std::move(newest);
    newest = TakeNext();
    picture->endTime = (newest ? newest->startTime : GetEnd()) - 1;
    return ReadResult::Got;
}

void SequencePictures::GoTo(long long index)
{
    newest.reset();
    while (!underWay.empty() && underWay.front().index < index)
        underWay.pop_front();
    if (!underWay.empty() && underWay.front().index == index)
        return; // under way already
    underWay.clear();
    nextToStart = index;
}

void SequencePictures::StartMore()
{
    while (underWay.size() < threads && nextToStart < sequence.GetCount()) {
        QString const file = sequence.GetFile(nextToStart);
        std::future<Picture> picture;
        if (!file.isEmpty())
            picture = std::async(std::launch::async, [keeper = describer, file, linear = isLinear, as = colours] {
                return keeper->Decode(file, linear, as);
            });
        underWay.push_back({nextToStart, std::move(picture)});
        nextToStart = IndexAfter(nextToStart);
    }
}

// The next picture that can be read, its end not yet set; null when there is none any more.
PictureStream::Picture SequencePictures::TakeNext()
{
    for (StartMore(); !underWay.empty(); StartMore()) {
        long long const index = underWay.front().index;
        bool const isHole = !underWay.front().picture.valid();
        Picture picture = isHole ? nullptr : underWay.front().picture.get();
        underWay.pop_front();
        if (picture) {
            ++decodedCount;
            width = picture->width;
            height = picture->height;
        } else if (!isHole) {
            error = QStringLiteral("\"%1\" cannot be read as an image.").arg(sequence.GetFile(index));
            damage.Add(TimeOf(index));
        }
        if (!picture && holes == SequenceHoles::Black)
            picture = Black(index);
        if (!picture)
            continue;
        picture->startTime = TimeOf(index);
        picture->frameRate = rate;
        return picture;
    }
    return nullptr;
}

PictureStream::Picture SequencePictures::Black(long long index) const
{
    std::vector<uint8_t> const bytes(static_cast<size_t>(PaddedRowBytes(std::max(width, 1))) *
                                     static_cast<size_t>(std::max(height, 1)));
    return std::make_shared<DecodedVideoFrame>(bytes.data(), static_cast<int>(bytes.size()), std::max(width, 1),
                                               std::max(height, 1), TimeOf(index), rate, 0, false);
}

long long SequencePictures::GetEnd() const
{
    return TimeOf(sequence.GetCount());
}

QString SequencePictures::GetError() const
{
    return error;
}

QVector<long long> SequencePictures::GetDamage() const
{
    return damage.Get();
}

long long SequencePictures::GetDecodedCount() const
{
    return decodedCount;
}
