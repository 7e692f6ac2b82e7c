#include "source/PictureIndexReader.h"

#include "common/Microseconds.h"
#include "common/Settings.h"
#include "media/FfmpegBridge.h"
#include "media/FfmpegPtr.h"
#include "media/MediaInfo.h"
#include "source/PacketPictures.h"
#include "source/SequencePictures.h"
#include "source/Source.h"

#include <QByteArray>
#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <utility>

namespace {

using Entry = PictureIndex::Entry;

constexpr size_t mostPictures = 1U << 23; // 38 hours at 60 a second, 64 MiB

// Packets with which the container's own index is compared before it is believed.
constexpr int comparedPackets = 32;

int AnswerStop(void* stop)
{
    return (*static_cast<StopCheck const*>(stop))() ? 1 : 0;
}

// Reading is broken off when `stop` answers true, which must live as long as the input. Null when it cannot be opened.
FfmpegPtr<AVFormatContext> OpenInput(QString const& path, StopCheck const& stop)
{
    AVFormatContext* opened = avformat_alloc_context();
    if (!opened)
        return nullptr;
    opened->interrupt_callback = {AnswerStop, const_cast<StopCheck*>(&stop)};
    QByteArray const name = QFileInfo(path).absoluteFilePath().toUtf8();
    if (avformat_open_input(&opened, name.constData(), nullptr, nullptr) < 0)
        return nullptr; // it has freed the context
    FfmpegPtr<AVFormatContext> input(opened);
    avformat_find_stream_info(opened, nullptr); // as a session does, so that times come out alike
    return input;
}

bool IsOneOf(AVFormatContext const& input, char const* name)
{
    return QByteArray(input.iformat->name).split(',').contains(name);
}

bool IsIntraOnly(AVCodecID codec)
{
    AVCodecDescriptor const* descriptor = avcodec_descriptor_get(codec);
    return descriptor && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY) != 0;
}

// The times of pictures as packets or the container's index tell them, in the stream's ticks and the order of decoding.
class Stamps
{
public:
    // False when the order is one that decoders do not keep: no picture shows before one that was decoded before the
    // last key picture.
    bool Add(long long ticks, bool isKey)
    {
        if (isKey && !stamps.empty())
            latestBeforeKey = latest;
        bool const isFirst = stamps.empty();
        latest = isFirst ? ticks : std::max(latest, ticks);
        stamps.push_back(2 * ticks + (isKey ? 1 : 0));
        hasKey = hasKey || isKey;
        return latestBeforeKey == longAgo || ticks > latestBeforeKey;
    }

    size_t GetCount() const { return stamps.size(); }

    // In order of time; false when two have the same.
    bool Sort()
    {
        std::sort(stamps.begin(), stamps.end());
        return std::adjacent_find(stamps.begin(), stamps.end(),
                                  [](long long one, long long next) { return one >> 1 == next >> 1; }) == stamps.end();
    }

    long long TicksAt(size_t position) const { return stamps[position] >> 1; }
    bool IsKeyAt(size_t position) const { return (stamps[position] & 1) != 0; }

private:
    static constexpr long long longAgo = std::numeric_limits<long long>::min();

    std::vector<long long> stamps; // twice the ticks, plus 1 at a key picture
    long long latest = 0;
    long long latestBeforeKey = longAgo;
    bool hasKey = false;
};

// The pictures of one movie.
class MovieReader
{
public:
    MovieReader(Source const& newSource, StopCheck const& newStop) : source(newSource), stop(newStop) {}

    std::shared_ptr<PictureIndex const> Read()
    {
        if (!Open())
            return nullptr;
        if (!HasOwnIndex() || !ReadOwnIndex()) {
            if (!Open() || !ReadPackets())
                return nullptr;
        }
        return MakeIndex();
    }

private:
    bool Open()
    {
        stamps = {};
        input = nullptr;
        packet.reset(av_packet_alloc());
        input = OpenInput(source.GetInfo()->GetFilePath(), stop);
        if (!packet || !input)
            return false;
        int const index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        source.GetInfo()->GetVideoStream(index, record);
        if (index < 0 || !record.valid)
            return false;
        for (unsigned i = 0; i < input->nb_streams; ++i) {
            if (static_cast<int>(i) != index)
                input->streams[i]->discard = AVDISCARD_ALL;
        }
        stream = input->streams[index];
        return true;
    }

    // The next packet of the pictures; false at the end of the file.
    bool NextPacket()
    {
        do {
            av_packet_unref(packet.get());
            if (stop() || av_read_frame(input.get(), packet.get()) < 0)
                return false;
        } while (packet->stream_index != stream->index);
        return true;
    }

    // Its entries bear the times of decoding, so that only pictures which are shown in the order of decoding have their
    // times there.
    bool HasOwnIndex() const
    {
        AVCodecParameters const& parameters = *stream->codecpar;
        if (IsOneOf(*input, "avi"))
            return IsIntraOnly(parameters.codec_id);
        bool const isOrdered = IsIntraOnly(parameters.codec_id) ||
                               (parameters.codec_id == AV_CODEC_ID_H264 && parameters.video_delay == 0);
        return IsOneOf(*input, "mov") && isOrdered;
    }

    // False when it is not complete, or not what the packets say at the beginning and at the end.
    bool ReadOwnIndex()
    {
        int const count = FfmpegBridge::IndexEntryCount(stream);
        if (count < 1 || count != stream->nb_frames || static_cast<size_t>(count) > mostPictures)
            return false;
        std::vector<long long> ticks;
        for (int i = 0; i < count; ++i) {
            AVIndexEntry const& entry = *FfmpegBridge::IndexEntryAt(stream, i);
            bool const isRising = ticks.empty() || entry.timestamp > ticks.back();
            if (!isRising || entry.size <= 0 || (entry.flags & AVINDEX_DISCARD_FRAME) != 0)
                return false;
            ticks.push_back(entry.timestamp);
            stamps.Add(entry.timestamp, (entry.flags & AVINDEX_KEYFRAME) != 0);
        }
        return AgreesFrom(ticks, 0, std::min<size_t>(ticks.size(), comparedPackets)) && AgreesAtEnd(ticks);
    }

    bool AgreesAtEnd(std::vector<long long> const& ticks)
    {
        if (av_seek_frame(input.get(), stream->index, ticks.back(), AVSEEK_FLAG_BACKWARD) < 0 || !NextPacket())
            return false;
        auto const first = std::lower_bound(ticks.begin(), ticks.end(), packet->dts);
        if (first == ticks.end() || !IsAt(*first))
            return false;
        return AgreesFrom(ticks, static_cast<size_t>(first - ticks.begin()) + 1, ticks.size()) && !NextPacket();
    }

    bool AgreesFrom(std::vector<long long> const& ticks, size_t first, size_t end)
    {
        for (size_t i = first; i < end; ++i) {
            if (!NextPacket() || !IsAt(ticks[i]))
                return false;
        }
        return true;
    }

    bool IsAt(long long ticks) const { return IsUsable() && packet->dts == ticks && packet->pts == ticks; }

    bool IsUsable() const { return packet->size > 0 && (packet->flags & AV_PKT_FLAG_CORRUPT) == 0; }

    bool ReadPackets()
    {
        PacketPictures pictures(*stream->codecpar);
        while (NextPacket()) {
            if (!IsUsable() || stamps.GetCount() == mostPictures)
                return false;
            bool const isPicture = pictures.BeginsPicture(*packet);
            bool const isLeftOut = (packet->flags & AV_PKT_FLAG_DISCARD) != 0; // by an edit list
            if (isPicture && !isLeftOut && !TakeStamp())
                return false;
        }
        return !stop() && stamps.GetCount() > 0;
    }

    bool TakeStamp()
    {
        bool const isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
        return packet->pts != AV_NOPTS_VALUE && stamps.Add(packet->pts, isKey);
    }

    // As a session computes the time of a picture.
    long long TimeOf(long long ticks) const
    {
        return TruncatedTime(static_cast<double>(ticks) * MicrosecondsPerTick(stream->time_base) -
                             static_cast<double>(record.startTime));
    }

    // What decoding makes of the stamps: media time 0 is the first picture, or the session's 0 where the first comes
    // before it. What shows wholly before 0 is no part of the media, and what reaches into it begins there.
    std::shared_ptr<PictureIndex const> MakeIndex()
    {
        if (!stamps.Sort())
            return nullptr;
        std::vector<Entry> entries;
        for (size_t i = 0; i < stamps.GetCount(); ++i) {
            long long const time = TimeOf(stamps.TicksAt(i));
            bool const isUndecoded = record.startTime > 0 && time < 0; // before the first that can be decoded
            bool const isRising = entries.empty() || time > entries.back().start;
            if (!isUndecoded && isRising)
                entries.push_back({time, stamps.IsKeyAt(i)});
        }
        if (entries.empty())
            return nullptr;
        long long const shift = std::max(entries.front().start, 0LL);
        auto first = entries.begin();
        while (first + 1 != entries.end() && (first + 1)->start <= 0)
            ++first;
        entries.erase(entries.begin(), first);
        for (Entry& entry : entries)
            entry.start = std::max(entry.start - shift, 0LL);
        return std::make_shared<PictureIndex const>(entries, entries.back().start + LastDuration() - 1);
    }

    // Of the last picture, whose end nothing tells.
    long long LastDuration() const
    {
        double const rate = record.frameRate == 0.0 ? source.GetUntimedRate() : record.frameRate;
        bool const isUsable =
            rate >= Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE && rate <= Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE;
        return std::max(
            static_cast<long long>(1000000.0 / (isUsable ? rate : Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE)), 1LL);
    }

    Source const& source;
    StopCheck const& stop;
    FfmpegPtr<AVFormatContext> input;
    FfmpegPtr<AVPacket> packet;
    AVStream* stream = nullptr; // the input's
    VideoStream record;
    Stamps stamps;
};

} // namespace

std::shared_ptr<PictureIndex const> ReadPictureIndex(Source const& source, StopCheck const& stop)
{
    if (!source.HasPictures())
        return nullptr;
    if (!source.GetSequence().IsEmpty())
        return std::make_shared<PictureIndex const>(source.GetSequence().GetCount(), source.GetSequenceRate());
    if (source.HasOnePicture())
        return std::make_shared<PictureIndex const>(std::vector<Entry>{{0, true}}, 0);
    return MovieReader(source, stop).Read();
}
