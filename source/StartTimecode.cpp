#include "source/StartTimecode.h"

#include "common/Timecode.h"

#include <QByteArray>
#include <QFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

constexpr qint64 headBytes = 1 << 16;

QByteArray HeadOf(QString const& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(headBytes) : QByteArray();
}

QString TagIn(AVDictionary const* tags)
{
    AVDictionaryEntry const* const tag = av_dict_get(tags, "timecode", nullptr, 0); // in capitals, too
    return tag ? QString::fromUtf8(tag->value) : QString();
}

QString Written(int hours, int minutes, int seconds, int frames, bool dropFrame)
{
    auto const digits = [](int number) { return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0')); };
    return digits(hours) + QLatin1Char(':') + digits(minutes) + QLatin1Char(':') + digits(seconds) +
           QLatin1Char(dropFrame ? ';' : ':') + digits(frames);
}

// Two decimal digits of four bits each, the higher one masked: its upper bits are flags.
int Decimal(quint32 bits, int shift, quint32 tensMask)
{
    return static_cast<int>((bits >> (shift + 4) & tensMask) * 10 + (bits >> shift & 0xFU));
}

// The time address of ST 12-1 in 32 bits, hours first. Bit 6 is the drop-frame flag.
QString FromTimeAddress(quint32 bits)
{
    return Written(Decimal(bits, 24, 3), Decimal(bits, 16, 7), Decimal(bits, 8, 7), Decimal(bits, 0, 3),
                   (bits & 0x40U) != 0);
}

// The 32-bit number at `at`, which lies within the head.
quint32 NumberAt(QByteArray const& head, int at, bool isBigEndian)
{
    quint32 number = 0;
    for (int i = 0; i < 4; ++i)
        number = number << 8 | static_cast<quint8>(head.at(isBigEndian ? at + i : at + 3 - i));
    return number;
}

// SMPTE ST 268: the television header has the timecode at 1920. All ones stand for none.
QString InDpx(QByteArray const& head)
{
    constexpr int place = 1920;
    constexpr quint32 televisionHeaderEnd = 2048;
    bool const isBigEndian = head.startsWith("SDPX");
    if ((!isBigEndian && !head.startsWith("XPDS")) || head.size() < place + 4)
        return {};
    quint32 const bits = NumberAt(head, place, isBigEndian);
    return NumberAt(head, 4, isBigEndian) >= televisionHeaderEnd && bits != 0xFFFFFFFFU ? FromTimeAddress(bits)
                                                                                        : QString();
}

// OpenEXR: the attribute "timeCode" of type "timecode", 8 bytes, low byte first.
QString InExr(QByteArray const& head)
{
    static QByteArray const attribute("timeCode\0timecode\0\x08\0\0\0", 22);
    int const at = static_cast<int>(head.indexOf(attribute));
    int const value = at + static_cast<int>(attribute.size());
    if (!head.startsWith("\x76\x2f\x31\x01") || at < 0 || head.size() < value + 4)
        return {};
    return FromTimeAddress(NumberAt(head, value, /*isBigEndian=*/false));
}

// ISO/IEC 13818-2, 6.2.2.6: the time code of the first group of pictures. Where that is not closed, the pictures that
// it begins with cannot be decoded, and which one is the first shown is not known.
QString InMpegVideo(QByteArray const& head)
{
    static QByteArray const startCode("\x00\x00\x01\xB8", 4);
    int const at = static_cast<int>(head.indexOf(startCode));
    if (at < 0 || head.size() < at + 8)
        return {};
    auto const bits = NumberAt(head, at + 4, /*isBigEndian=*/true);
    auto const field = [bits](int shift, quint32 mask) { return static_cast<int>(bits >> shift & mask); };
    bool const isClosed = (bits & 0x40U) != 0;
    if (!isClosed)
        return {};
    return Written(field(26, 31), field(20, 63), field(13, 63), field(7, 63), (bits & 0x80000000U) != 0);
}

bool IsMpegStream(AVFormatContext const& input)
{
    QString const demuxer = QString::fromUtf8(input.iformat->name);
    bool const hasGroups =
        demuxer == QLatin1String("mpeg") || demuxer == QLatin1String("mpegts") || demuxer == QLatin1String("mpegvideo");
    for (unsigned i = 0; hasGroups && i < input.nb_streams; ++i) {
        AVCodecID const codec = input.streams[i]->codecpar->codec_id;
        if (codec == AV_CODEC_ID_MPEG1VIDEO || codec == AV_CODEC_ID_MPEG2VIDEO)
            return true;
    }
    return false;
}

// A timecode track takes precedence over streams that only carry a copy of its tag.
StartTimecode InStreams(AVFormatContext const& input)
{
    StartTimecode found;
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        AVStream const& stream = *input.streams[i];
        QString const text = TagIn(stream.metadata);
        bool const isTrack = stream.codecpar->codec_type == AVMEDIA_TYPE_DATA;
        if (text.isEmpty() || (!isTrack && !found.text.isEmpty()))
            continue;
        found.text = text;
        if (isTrack && stream.avg_frame_rate.num > 0 && stream.avg_frame_rate.den > 0) {
            found.rate = av_q2d(stream.avg_frame_rate);
            return found;
        }
    }
    return found;
}

// That of the pictures, unless no timecode has such a rate: FFmpeg 7.1 gives a raw DV stream its ticks per second for
// an average. The rate that FFmpeg guesses from the first packets is right there.
double RateOfPictures(AVFormatContext const& input, double pictureRate)
{
    if (pictureRate <= Timecode::highestRate)
        return pictureRate;
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        AVStream const& stream = *input.streams[i];
        if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && stream.r_frame_rate.den > 0)
            return av_q2d(stream.r_frame_rate);
    }
    return pictureRate;
}

} // namespace

StartTimecode StartTimecode::Of(AVFormatContext const& input, QString const& path, double pictureRate)
{
    StartTimecode found = InStreams(input);
    if (found.text.isEmpty())
        found.text = TagIn(input.metadata);
    if (found.text.isEmpty() && IsMpegStream(input))
        found.text = InMpegVideo(HeadOf(path));
    if (found.rate <= 0.0)
        found.rate = RateOfPictures(input, pictureRate);
    return found;
}

StartTimecode StartTimecode::OfImage(QString const& path, double pictureRate)
{
    QByteArray const head = HeadOf(path);
    QString const text = InDpx(head);
    return {text.isEmpty() ? InExr(head) : text, pictureRate};
}
