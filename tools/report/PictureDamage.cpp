#include "tools/report/PictureDamage.h"

#include "common/Microseconds.h"
#include "media/FfmpegBridge.h"
#include "media/FfmpegPtr.h"
#include "source/Source.h"
#include "tools/report/MessageLog.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <iterator>
#include <limits>

namespace {

constexpr long long none = std::numeric_limits<long long>::min();

// Containers and decoders round the time of the same picture differently.
constexpr long long rounding = 1000;

// Where packets do not tell when they are decoded: no codec holds back more pictures than this.
constexpr int mostReordered = 32;

// Most do not hold back more than this.
constexpr int fewReordered = 3;

} // namespace

// One pass over the stretch, from a landing before it.
class PictureDamage::Reader
{
public:
    // Late: it began where the stretch cannot be judged from.
    enum class Result { Done, Late, Failed };

    Reader(Source const& newSource, long long newOrigin, PictureDamage& newDamage)
        : source(newSource), origin(newOrigin), damage(newDamage)
    {}

    // From `landing` on, the beginning of the file if that is 0 or less.
    Result Read(long long landing, long long from, long long to)
    {
        isTrusted = landing <= 0;
        if (!Open() || (!isTrusted && !Seek(landing)))
            return Result::Failed;
        FfmpegMessages const messages;
        int beyond = 0;
        while (beyond < mostReordered && ReadPacket()) {
            long long const time = TimeOf(packet->pts);
            TakeKey(time);
            isGap = messages.GetErrorCount() > errors;
            bool const isDecoded = (keys == 0 && !isTrusted) || Decode();
            bool const isBad = !isDecoded || messages.GetErrorCount() > errors;
            errors = messages.GetErrorCount();
            if (!isTrusted && time != none && time + rounding >= from)
                return Result::Late;
            if (isTrusted)
                TakePacket(time, isBad);
            beyond += time > to ? 1 : 0;
            if (TimeOf(packet->dts) > to)
                break;
        }
        damage.firstMessage = messages.GetFirstError();
        return isTrusted ? Result::Done : Result::Late;
    }

private:
    bool Open()
    {
        AVFormatContext* opened = nullptr;
        if (avformat_open_input(&opened, source.GetPath().toUtf8().constData(), nullptr, nullptr) < 0)
            return false;
        input.reset(opened);
        packet.reset(av_packet_alloc());
        frame.reset(av_frame_alloc());
        FfmpegBridge::DecoderPtr decoder = nullptr;
        if (!packet || !frame || avformat_find_stream_info(opened, nullptr) < 0)
            return false;
        stream = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
        context.reset(stream >= 0 ? avcodec_alloc_context3(nullptr) : nullptr);
        if (!context || avcodec_parameters_to_context(context.get(), input->streams[stream]->codecpar) < 0)
            return false;
        for (unsigned i = 0; i < input->nb_streams; ++i) {
            if (static_cast<int>(i) != stream)
                input->streams[i]->discard = AVDISCARD_ALL; // damage of the sound is not the pictures'
        }
        context->thread_count = 1;
        return avcodec_open2(context.get(), decoder, nullptr) >= 0;
    }

    bool Seek(long long time) { return av_seek_frame(input.get(), -1, time + origin, AVSEEK_FLAG_BACKWARD) >= 0; }

    long long TimeOf(int64_t ticks) const
    {
        if (ticks == AV_NOPTS_VALUE)
            return none;
        return av_rescale_q(ticks, input->streams[stream]->time_base, AVRational{1, AV_TIME_BASE}) - origin;
    }

    // The next one of the pictures.
    bool ReadPacket()
    {
        do
            av_packet_unref(packet.get());
        while (av_read_frame(input.get(), packet.get()) >= 0 && packet->stream_index != stream);
        return packet->data != nullptr;
    }

    // What is decoded after a landing may miss pictures that it refers to, up to the second key picture. Some
    // containers call all pictures that: the codec must have met one, too.
    void TakeKey(long long time)
    {
        if ((packet->flags & AV_PKT_FLAG_KEY) == 0)
            return;
        ++keys;
        formerIsDamaged = isTrusted && groupIsDamaged;
        isTrusted = isTrusted || (keys >= 2 && hasDecodedKey);
        groupIsDamaged = false;
        keyTime = time;
    }

    bool Decode()
    {
        bool const isTaken = avcodec_send_packet(context.get(), packet.get()) >= 0;
        int received = avcodec_receive_frame(context.get(), frame.get());
        for (; received >= 0; received = avcodec_receive_frame(context.get(), frame.get())) {
            hasDecodedKey = hasDecodedKey || FfmpegBridge::IsKeyPicture(*frame);
            bool const isMarked = frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0;
            if (isTrusted && isMarked && frame->best_effort_timestamp != AV_NOPTS_VALUE)
                damage.marked.insert(TimeOf(frame->best_effort_timestamp));
        }
        return isTaken && (received == AVERROR(EAGAIN) || received == AVERROR_EOF);
    }

    void TakePacket(long long time, bool isBad)
    {
        groupIsDamaged = groupIsDamaged || isBad;
        if (time == none)
            return;
        damage.packets[time] = groupIsDamaged || (time < keyTime && formerIsDamaged);
        if (isGap && formerTime != none)
            damage.gaps.push_back({formerTime, time});
        formerTime = std::max(formerTime, time);
    }

    Source const& source;
    long long origin;
    PictureDamage& damage;
    int stream = -1;
    FfmpegPtr<AVFormatContext> input;
    FfmpegPtr<AVCodecContext> context;
    FfmpegPtr<AVPacket> packet;
    FfmpegPtr<AVFrame> frame;

    int keys = 0;                 // since the landing, as the container has it
    bool hasDecodedKey = false;   // since then, as the codec has it
    bool isTrusted = false;       // all that a picture can refer to has been decoded
    int errors = 0;               // messages up to the last packet
    bool isGap = false;           // something before the packet could not be read
    bool groupIsDamaged = false;  // since the last key picture
    bool formerIsDamaged = false; // and in the group before it
    long long keyTime = none;
    long long formerTime = none; // the latest so far
};

std::optional<PictureDamage> PictureDamage::Probe(Source const& source, long long origin, long long from, long long to)
{
    for (long long back = secondUs;; back *= 2) {
        PictureDamage damage;
        damage.step = source.GetFrameStep();
        auto const result = Reader(source, origin, damage).Read(from - back, from, to);
        bool const isWhole = from - back <= 0;
        if (result == Reader::Result::Done && !damage.packets.empty())
            return damage;
        if (isWhole)
            return std::nullopt;
        if (result == Reader::Result::Failed)
            back = from; // only the way from the beginning is left
    }
}

bool PictureDamage::IsDamaged(long long start) const
{
    auto const marking = marked.lower_bound(start - rounding);
    if (marking != marked.end() && *marking <= start + rounding)
        return true;
    auto const next = packets.upper_bound(start + rounding);
    return next != packets.begin() && std::prev(next)->second;
}

std::optional<long long> PictureDamage::FindLost(long long after, long long until) const
{
    for (auto packet = packets.upper_bound(after + rounding); packet != packets.end() && packet->first <= until;
         ++packet)
        if (packet->second)
            return packet->first;
    // Of what was in a gap, only the time can tell.
    if (until + rounding < after + step)
        return std::nullopt;
    for (Gap const& gap : gaps) {
        if (until >= gap.before - fewReordered * step && until < gap.behind)
            return after + step;
    }
    return std::nullopt;
}
