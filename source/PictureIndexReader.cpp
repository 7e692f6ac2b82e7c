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

// The times of pictures as packets tell them, in the stream's ticks.
//
// A packet of a container without times of showing, such as AVI or a program stream, bears only its time of decoding.
// A decoder of MPEG-1, 2 and 4 shows a picture that others refer to when the next such picture is decoded; one of H.264
// and HEVC shows the first picture once it has decoded as many more as the stream reorders, and then one for each.
// FFmpeg takes the times of decoding of those moments. What comes out at the end has no such moment, and follows at the
// stream's rate; so do all pictures of streams without any times.
class Stamps
{
public:
    // In the order of decoding. `reorders`: pictures that a decoder holds back for their order.
    Stamps(bool showsAtNextReference, int reorders)
        : showsAtNext(showsAtNextReference), heldBack(static_cast<size_t>(std::max(reorders, 0)))
    {}

    void Add(AVPacket const& packet)
    {
        NoteOrder(packet);
        bool const isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
        if (packet.pts == AV_NOPTS_VALUE)
            AddWithoutTime(packet.dts, isKey);
        else
            AddWithTime(packet.pts, packet.dts, isKey);
    }

    void Add(long long ticks, bool isKey) { stamps.push_back(2 * ticks + (isKey ? 1 : 0)); }

    size_t GetCount() const { return stamps.size() + (awaitsTime ? 1 : 0); }

    // Puts the pictures in order. False when their times cannot be what decoding gives: two alike, an order that
    // decoders do not keep, or packets with and without times of which no rule makes one row.
    bool Finish()
    {
        bool const isMixed = heldBack > 0 && onlyDecodingTimes > 0 && onlyDecodingTimes < stamps.size();
        bool const isCountMixed = timeless > 0 && timeless < GetCount();
        if (isMixed || isCountMixed || (!areDecodingTimesInOrder && !areGroupsInOrder))
            return false;
        if (onlyDecodingTimes > 0)
            HoldBack();
        std::sort(stamps.begin(), stamps.end());
        timed = timeless > 0 ? 0 : stamps.size();
        auto const isSameTime = [](long long one, long long next) { return one >> 1 == next >> 1; };
        bool const isUnique = std::adjacent_find(stamps.begin(), stamps.end(), isSameTime) == stamps.end();
        if (awaitsTime)
            Add(0, isAwaitedKey);
        stamps.resize(stamps.size() + heldAtEnd);
        awaitsTime = false;
        return isUnique;
    }

    // Of the one with this time, or else of the next later one, among stamps in order.
    size_t PositionOf(long long ticks) const
    {
        return static_cast<size_t>(std::lower_bound(stamps.begin(), stamps.end(), 2 * ticks) - stamps.begin());
    }

    // After Finish. Those without a time follow those with one.
    bool HasTime(size_t position) const { return position < timed; }
    long long TicksAt(size_t position) const { return stamps[position] >> 1; }
    bool IsKeyAt(size_t position) const { return (stamps[position] & 1) != 0; }

private:
    void AddWithTime(long long ticks, long long decodingTicks, bool isKey)
    {
        bool const isReference = decodingTicks != AV_NOPTS_VALUE && ticks > decodingTicks;
        if (isReference)
            ShowAwaited(decodingTicks);
        Add(ticks, isKey);
    }

    void AddWithoutTime(long long decodingTicks, bool isKey)
    {
        if (decodingTicks == AV_NOPTS_VALUE) {
            Add(static_cast<long long>(timeless++), isKey);
        } else if (showsAtNext) {
            ShowAwaited(decodingTicks);
            awaitsTime = true;
            isAwaitedKey = isKey;
        } else {
            Add(decodingTicks, isKey);
            ++onlyDecodingTimes;
        }
    }

    void ShowAwaited(long long ticks)
    {
        if (awaitsTime)
            Add(ticks, isAwaitedKey);
        awaitsTime = false;
    }

    // Each picture shows when the last one is decoded for which it is held back. The keys stay with their pictures, as
    // far as their order tells.
    void HoldBack()
    {
        size_t const held = std::min(heldBack, stamps.size());
        for (size_t i = 0; i + held < stamps.size(); ++i)
            stamps[i] = (stamps[i + held] & ~1LL) | (stamps[i] & 1);
        stamps.resize(stamps.size() - held);
        heldAtEnd = held;
    }

    // Pictures come in order of time out of a decoder where none shows before it is decoded, and also where none shows
    // before one that was decoded before the last key picture.
    void NoteOrder(AVPacket const& packet)
    {
        bool const isDecodedInTime = packet.dts != AV_NOPTS_VALUE && packet.dts > lastDecoding &&
                                     (packet.pts == AV_NOPTS_VALUE || packet.pts >= packet.dts);
        areDecodingTimesInOrder = areDecodingTimesInOrder && isDecodedInTime;
        lastDecoding = std::max<long long>(lastDecoding, packet.dts);
        if (packet.pts == AV_NOPTS_VALUE)
            return;
        if ((packet.flags & AV_PKT_FLAG_KEY) != 0)
            latestBeforeKey = latest;
        latest = std::max<long long>(latest, packet.pts);
        areGroupsInOrder = areGroupsInOrder && (latestBeforeKey == longAgo || packet.pts > latestBeforeKey);
    }

    static constexpr long long longAgo = AV_NOPTS_VALUE;

    bool showsAtNext;
    size_t heldBack;               // pictures
    std::vector<long long> stamps; // twice the ticks, plus 1 at a key picture
    bool awaitsTime = false;       // the newest one that others refer to
    bool isAwaitedKey = false;
    size_t timed = 0;
    size_t heldAtEnd = 0;         // pictures that come without a time
    size_t timeless = 0;          // of the stamps: those whose packets have no time at all
    size_t onlyDecodingTimes = 0; // of the stamps
    long long lastDecoding = longAgo;
    long long latest = longAgo;
    long long latestBeforeKey = longAgo;
    bool areDecodingTimesInOrder = true;
    bool areGroupsInOrder = true;
};

// Whether a decoder shows a picture that others refer to when the next one of these is decoded.
bool ShowsAtNextReference(AVCodecID codec)
{
    return codec == AV_CODEC_ID_MPEG1VIDEO || codec == AV_CODEC_ID_MPEG2VIDEO || codec == AV_CODEC_ID_MPEG4;
}

// The pictures of one movie.
class MovieReader
{
public:
    MovieReader(Source const& newSource, StopCheck const& newStop) : source(newSource), stop(newStop) {}

    std::shared_ptr<PictureIndex const> Read()
    {
        if (!Open())
            return nullptr;
        bool const hasOwnIndex = HasOwnIndex() && ReadOwnIndex();
        if (!hasOwnIndex && ((hasReadOn && !Open()) || !ReadPackets()))
            return nullptr;
        return stop() ? nullptr : MakeIndex();
    }

private:
    bool Open()
    {
        input = nullptr; // before the file is opened once more
        hasReadOn = false;
        packet.reset(av_packet_alloc());
        input = OpenInput(source.GetInfo()->GetFilePath(), stop);
        if (!packet || !input)
            return false;
        FfmpegBridge::DecoderPtr decoder = nullptr; // asked for, so that a stream without one is not chosen
        int const index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
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
            hasReadOn = true;
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
        stamps = Stamps(false, 0);
        for (int i = 0; i < count; ++i) {
            AVIndexEntry const& entry = *FfmpegBridge::IndexEntryAt(stream, i);
            bool const isRising = i == 0 || entry.timestamp > stamps.TicksAt(stamps.GetCount() - 1);
            if (!isRising || entry.size <= 0 || (entry.flags & AVINDEX_DISCARD_FRAME) != 0)
                return false;
            stamps.Add(entry.timestamp, (entry.flags & AVINDEX_KEYFRAME) != 0);
        }
        return ArePacketsOfStamps(0, std::min<size_t>(stamps.GetCount(), comparedPackets)) && IsEndOfStamps();
    }

    bool IsEndOfStamps()
    {
        long long const last = stamps.TicksAt(stamps.GetCount() - 1);
        if (av_seek_frame(input.get(), stream->index, last, AVSEEK_FLAG_BACKWARD) < 0 || !NextPacket())
            return false;
        size_t const first = stamps.PositionOf(packet->dts);
        return first < stamps.GetCount() && IsAt(stamps.TicksAt(first)) &&
               ArePacketsOfStamps(first + 1, stamps.GetCount()) && !NextPacket();
    }

    // The next packets of the file are those at these positions.
    bool ArePacketsOfStamps(size_t first, size_t end)
    {
        for (size_t i = first; i < end; ++i) {
            if (!NextPacket() || !IsAt(stamps.TicksAt(i)))
                return false;
        }
        return true;
    }

    bool IsAt(long long ticks) const { return IsUsable() && packet->dts == ticks && packet->pts == ticks; }

    bool IsUsable() const { return packet->size > 0 && (packet->flags & AV_PKT_FLAG_CORRUPT) == 0; }

    bool ReadPackets()
    {
        AVCodecParameters const& parameters = *stream->codecpar;
        PacketPictures pictures(parameters);
        stamps = Stamps(ShowsAtNextReference(parameters.codec_id), parameters.video_delay);
        while (NextPacket()) {
            if (!IsUsable() || stamps.GetCount() == mostPictures)
                return false;
            bool const isPicture = pictures.BeginsPicture(*packet);
            bool const isLeftOut = (packet->flags & AV_PKT_FLAG_DISCARD) != 0; // by an edit list
            if (isPicture && !isLeftOut)
                stamps.Add(*packet);
        }
        return !stop() && stamps.GetCount() > 0;
    }

    // As a session computes the time of a picture.
    long long TimeOf(long long ticks) const
    {
        return TruncatedTime(static_cast<double>(ticks) * MicrosecondsPerTick(stream->time_base) -
                             static_cast<double>(record.startTime));
    }

    std::shared_ptr<PictureIndex const> MakeIndex()
    {
        std::vector<Entry> entries = stamps.Finish() ? DecodedEntries() : std::vector<Entry>();
        if (entries.empty())
            return nullptr;
        MoveToMediaTime(entries);
        long long const lastDuration = std::max(static_cast<long long>(secondUs / GetRate()), 1LL);
        return std::make_shared<PictureIndex const>(entries, entries.back().start + lastDuration - 1);
    }

    // What decoding makes of the stamps, in the session's times.
    std::vector<Entry> DecodedEntries() const
    {
        std::vector<Entry> entries;
        double lastTime = 0.0;
        for (size_t i = 0; i < stamps.GetCount(); ++i) {
            lastTime += 1.0 / GetRate() * secondUs;
            if (stamps.HasTime(i))
                lastTime = static_cast<double>(TimeOf(stamps.TicksAt(i)));
            long long const time = TruncatedTime(lastTime);
            bool const isUndecoded = record.startTime > 0 && time < 0; // before the first that can be decoded
            bool const isRising = entries.empty() || time > entries.back().start;
            if (!isUndecoded && isRising)
                entries.push_back({time, stamps.IsKeyAt(i)});
        }
        return entries;
    }

    // Media time 0 is the first picture, or the session's 0 if the first one comes before that. A picture that ends
    // before 0 is no part of the media, and one that reaches into it begins there.
    static void MoveToMediaTime(std::vector<Entry>& entries)
    {
        long long const shift = std::max(entries.front().start, 0LL);
        auto first = entries.begin();
        while (first + 1 != entries.end() && (first + 1)->start <= 0)
            ++first;
        entries.erase(entries.begin(), first);
        for (Entry& entry : entries)
            entry.start = std::max(entry.start - shift, 0LL);
    }

    // Pictures without a time follow each other at this rate, and the last one shows for one step of it.
    double GetRate() const
    {
        double const rate = record.frameRate == 0.0 ? source.GetUntimedRate() : record.frameRate;
        bool const isUsable =
            rate >= Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE && rate <= Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE;
        return isUsable ? rate : Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE;
    }

    Source const& source;
    StopCheck const& stop;
    FfmpegPtr<AVFormatContext> input;
    FfmpegPtr<AVPacket> packet;
    AVStream* stream = nullptr; // the input's
    VideoStream record;
    bool hasReadOn = false; // beyond the beginning
    Stamps stamps{false, 0};
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
