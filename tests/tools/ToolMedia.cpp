#include "tests/tools/ToolMedia.h"

#include "media/FfmpegPtr.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/frame.h>
}

#include <cstdlib>
#include <stdexcept>

namespace {

QStringList const pictures = {"-f", "lavfi", "-i", "testsrc2=size=96x64:rate=25:duration=4"};

} // namespace

QString MovingPicture(QString const& name, QStringList const& arguments)
{
    return MakeMedia(name, pictures + arguments);
}

QString Movie(QString const& name, QStringList const& arguments)
{
    return MakeMedia(name, pictures + Tone(44100, 2, 4.0) + arguments);
}

QString Rewrapped(QString const& name, QString const& source, QStringList const& arguments)
{
    return MakeMedia(name, QStringList{"-i", source, "-c", "copy"} + arguments);
}

QString WithDamagedPictures(int count)
{
    QByteArray bytes = ReadMedia(MovingPicture("whole.avi", {"-c:v", "png"}));
    QByteArray const signature("\x89PNG");
    auto place = bytes.indexOf(signature);
    for (int i = 0; i < count && place >= 0; ++i) {
        place = bytes.indexOf(signature, place + 1);
        if (place >= 0)
            bytes.replace(place, signature.size(), "none");
    }
    return WriteMedia(QStringLiteral("damaged-%1.avi").arg(count), bytes);
}

QString WithZerosAt(QString const& name, QString const& source, long long time, int skipped)
{
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, source.toUtf8().constData(), nullptr, nullptr) < 0)
        throw std::runtime_error("cannot be opened");
    FfmpegPtr<AVFormatContext> const input(opened);
    avformat_find_stream_info(opened, nullptr);
    int const stream = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    QByteArray bytes = ReadMedia(source);
    bool isFound = false;
    for (; av_read_frame(opened, packet.get()) >= 0; av_packet_unref(packet.get())) {
        auto const at = av_rescale_q(packet->pts, opened->streams[stream]->time_base, AVRational{1, AV_TIME_BASE});
        if (packet->stream_index != stream || std::llabs(at - time) > 1000)
            continue;
        int const kept = packet->size * skipped / 100;
        bytes.replace(static_cast<int>(packet->pos) + kept, packet->size - kept, QByteArray(packet->size - kept, '\0'));
        isFound = true;
    }
    if (!isFound)
        throw std::runtime_error("there is no such packet");
    return WriteMedia(name, bytes);
}

std::vector<PlainPicture> DecodePlainly(QString const& path)
{
    ReferenceInput input(path, 0); // video
    double const tick = input.TickUs();
    std::vector<PlainPicture> decoded;
    long long start = 0;
    input.DecodeAll([&](AVFrame& frame) {
        auto const ticks = static_cast<double>(frame.best_effort_timestamp);
        if (decoded.empty() && frame.best_effort_timestamp != AV_NOPTS_VALUE)
            start = static_cast<long long>(ticks * tick);
        auto const bytes = ConvertPlainly(frame, frame.width);
        bool const hasTime = frame.best_effort_timestamp != AV_NOPTS_VALUE;
        decoded.push_back({hasTime ? static_cast<long long>(ticks * tick - static_cast<double>(start)) : -1,
                           Md5OfPicture(bytes.data(), frame.width, frame.height)});
    });
    return decoded;
}

PlainPicture ShowingAt(std::vector<PlainPicture> const& pictures, long long time)
{
    PlainPicture showing = pictures.at(0);
    for (PlainPicture const& picture : pictures) {
        if (picture.time <= time)
            showing = picture;
    }
    return showing;
}
