#include "tools/report/StreamText.h"

#include "common/AudioStream.h"
#include "common/VideoStream.h"
#include "media/FfmpegBridge.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/samplefmt.h>
}

#include <cmath>
#include <numeric>
#include <utility>

namespace {

AVCodecDescriptor const* DescriptorOf(QString const& decoderName)
{
    AVCodec const* decoder = avcodec_find_decoder_by_name(decoderName.toUtf8().constData());
    return decoder ? avcodec_descriptor_get(decoder->id) : nullptr;
}

// The simplest fraction equal to `value` in single precision: the first convergent of its continued fraction that
// rounds to it. That recovers the fraction in the container.
std::pair<long long, long long> SimplestFraction(float value)
{
    long long numerator = 1, denominator = 0, formerNumerator = 0, formerDenominator = 1;
    double rest = value;
    for (int i = 0; i < 32; ++i) {
        auto const whole = static_cast<long long>(std::floor(rest));
        numerator = std::exchange(formerNumerator, numerator) + whole * numerator;
        denominator = std::exchange(formerDenominator, denominator) + whole * denominator;
        bool const isExact =
            static_cast<float>(static_cast<double>(numerator) / static_cast<double>(denominator)) == value;
        rest = 1.0 / (rest - static_cast<double>(whole));
        if (isExact || !(rest < 1e9))
            break;
    }
    return {numerator, denominator};
}

} // namespace

QString StreamText::CodecName(QString const& decoderName)
{
    AVCodecDescriptor const* descriptor = DescriptorOf(decoderName);
    return descriptor ? QString::fromUtf8(descriptor->name) : decoderName;
}

QString StreamText::CodecLongName(QString const& decoderName)
{
    AVCodecDescriptor const* descriptor = DescriptorOf(decoderName);
    return descriptor && descriptor->long_name ? QString::fromUtf8(descriptor->long_name) : QString();
}

QString StreamText::SampleFormat(AudioStream const& stream)
{
    return QString::fromUtf8(av_get_sample_fmt_name(static_cast<AVSampleFormat>(stream.sampleFormat)));
}

QString StreamText::ChannelLayout(AudioStream const& stream)
{
    char text[256] = {};
    FfmpegBridge::DescribeChannelLayout(stream.channelLayout, text, sizeof text);
    return QString::fromUtf8(text);
}

QString StreamText::FrameRate(VideoStream const& stream)
{
    long long const thousandths = stream.frameRate > 0.0 ? std::llround(stream.frameRate * 1000.0) : 0;
    if (thousandths == 0)
        return QStringLiteral("0/0");
    long long const divisor = std::gcd(thousandths, 1000LL);
    return QStringLiteral("%1/%2").arg(thousandths / divisor).arg(1000 / divisor);
}

QString StreamText::AspectRatio(VideoStream const& stream)
{
    auto const ratio = SimplestFraction(stream.pixelAspectRatio);
    return QStringLiteral("%1:%2").arg(ratio.first).arg(ratio.second);
}
